#include "tools/broker/tls_context.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "tools/text/address.h"

namespace ac500::broker {

namespace {

// The reason that OpenSSL has, and none that is left of before.
std::string openSslReason() {
    const unsigned long code = ERR_get_error();
    const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
    ERR_clear_error();
    return reason == nullptr ? "it cannot be used" : reason;
}

int contextIndex() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

// A key with a password would have it asked for on a terminal.
int noPassword(char*, int, int, void*) {
    return 0;
}

}  // namespace

// What OpenSSL calls.
struct TlsContext::Hooks {
    static TlsContext* of(const SSL* ssl) {
        return static_cast<TlsContext*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), contextIndex()));
    }

    static int verified(int isGood, X509_STORE_CTX* store) {
        if (isGood == 0) {
            void* ssl = X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx());
            of(static_cast<SSL*>(ssl))->noteRefusal(X509_STORE_CTX_get_error(store));
        }
        return isGood;
    }

    // The library connects to an address, and takes it for the name that it tells the server (SNI).
    static void happened(const SSL* ssl, int where, int) {
        const std::string& host = of(ssl)->settings_.host;
        if ((where & SSL_CB_HANDSHAKE_START) != 0) {
            const char* const name = text::isNumericAddress(host) ? nullptr : host.c_str();
            SSL_set_tlsext_host_name(const_cast<SSL*>(ssl), name);
        }
    }
};

std::unique_ptr<TlsContext> TlsContext::make(const Settings& settings, std::string* problem) {
    ERR_clear_error();
    SSL_CTX* context = SSL_CTX_new(TLS_client_method());
    if (context == nullptr) {
        *problem = "TLS cannot be used: " + openSslReason();
        return nullptr;
    }
    std::unique_ptr<TlsContext> made(new TlsContext(context, settings));
    return made->prepare(problem) ? std::move(made) : nullptr;
}

TlsContext::~TlsContext() {
    SSL_CTX_free(context_);
}

bool TlsContext::prepare(std::string* problem) {
    SSL_CTX_set_min_proto_version(context_, TLS1_2_VERSION);
    SSL_CTX_set_mode(context_, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_ex_data(context_, contextIndex(), this);
    SSL_CTX_set_default_passwd_cb(context_, noPassword);
    SSL_CTX_set_verify(context_, SSL_VERIFY_PEER, &Hooks::verified);
    SSL_CTX_set_info_callback(context_, &Hooks::happened);

    X509_VERIFY_PARAM* terms = SSL_CTX_get0_param(context_);
    X509_VERIFY_PARAM_set_hostflags(terms, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const bool isHostSet = text::isNumericAddress(settings_.host)
                               ? X509_VERIFY_PARAM_set1_ip_asc(terms, settings_.host.c_str()) == 1
                               : X509_VERIFY_PARAM_set1_host(terms, settings_.host.c_str(), 0) == 1;
    if (!isHostSet) {
        *problem = settings_.host + " can be no name of a server";
        return false;
    }
    const bool isTrustSet = settings_.ca.empty()
                                ? SSL_CTX_set_default_verify_paths(context_) == 1
                                : SSL_CTX_load_verify_locations(context_, settings_.ca.c_str(), nullptr) == 1;
    if (!isTrustSet) {
        *problem = (settings_.ca.empty() ? "the authorities of the system" : settings_.ca) + ": " + openSslReason() +
                   "; \"ca\" names a PEM file with the certificates of the authorities";
        return false;
    }
    if (settings_.certificate.empty()) {
        return true;
    }
    if (SSL_CTX_use_certificate_chain_file(context_, settings_.certificate.c_str()) != 1) {
        *problem = settings_.certificate + ": " + openSslReason() + "; \"certificate\" names a PEM file";
        return false;
    }
    if (SSL_CTX_use_PrivateKey_file(context_, settings_.key.c_str(), SSL_FILETYPE_PEM) != 1) {
        *problem = settings_.key + ": " + openSslReason() +
                   "; \"key\" names the PEM file of the certificate's key, without a password";
        return false;
    }
    return true;
}

void TlsContext::noteRefusal(int error) {
    refusal_ = X509_verify_cert_error_string(error);
    switch (error) {
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            refusal_ = "the server's certificate is not for " + settings_.host +
                       "; write the name that it is for into \"servers\"";
            return;
        case X509_V_ERR_CERT_HAS_EXPIRED:
            refusal_ += "; renew the server's certificate, or set this machine's clock";
            return;
        case X509_V_ERR_CERT_NOT_YET_VALID:
            refusal_ += "; set this machine's clock";
            return;
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            refusal_ = "the server's certificate is of an authority that is not trusted (" + refusal_ +
                       "); name the PEM file of that authority in \"ca\"";
            return;
        default:
            refusal_ = "the server's certificate is refused: " + refusal_;
            return;
    }
}

}  // namespace ac500::broker
