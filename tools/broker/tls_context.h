// TlsContext is what a TLS connection to a broker is made with: the authorities that are trusted, the name that the server's
// certificate has to bear, the certificate of the client. It says in words why a server was not believed. Used by one
// thread.
#ifndef AC500_TOOLS_BROKER_TLS_CONTEXT_H
#define AC500_TOOLS_BROKER_TLS_CONTEXT_H

#include <memory>
#include <string>

struct ssl_ctx_st;

namespace ac500::broker {

class TlsContext {
public:
    struct Settings {
        std::string host;         // a name or an IP address: the server's certificate must be for it
        std::string ca;           // path, PEM; empty: the authorities of the system
        std::string certificate;  // path, PEM with its chain; empty: none
        std::string key;          // path, PEM, without a password; set exactly when the certificate is
    };
    // Null on failure, which *problem tells.
    static std::unique_ptr<TlsContext> make(const Settings& settings, std::string* problem);
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    // Valid as long as this.
    ssl_ctx_st* context() const { return context_; }
    // Why the server's certificate was refused last, and what to do; empty: it was not.
    const std::string& refusal() const { return refusal_; }

private:
    TlsContext(ssl_ctx_st* context, Settings settings) : context_(context), settings_(std::move(settings)) {}
    bool prepare(std::string* problem);
    void noteRefusal(int error);

    struct Hooks;
    ssl_ctx_st* const context_;
    const Settings settings_;
    std::string refusal_;
};

}  // namespace ac500::broker

#endif
