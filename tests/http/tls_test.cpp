// The server over TLS, with certificates that this test makes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <unistd.h>

#include "tests/http/raw_client.h"
#include "tools/http/certificate_files.h"
#include "tools/http/server.h"

namespace ac500::http {
namespace {

using test::paced;
using test::RawClient;
using testing::HasSubstr;

struct Pem {
    std::string certificate;
    std::string key;
};

std::string taken(gnutls_datum_t datum) {
    const std::string text(reinterpret_cast<const char*>(datum.data), datum.size);
    gnutls_free(datum.data);
    return text;
}

// Signed by itself, valid for an hour.
Pem makeCertificate(const std::string& name) {
    gnutls_x509_privkey_t key = nullptr;
    gnutls_x509_crt_t certificate = nullptr;
    gnutls_x509_privkey_init(&key);
    gnutls_x509_privkey_generate(key, GNUTLS_PK_ECDSA, GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0);
    gnutls_x509_crt_init(&certificate);
    gnutls_x509_crt_set_version(certificate, 3);
    gnutls_x509_crt_set_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, name.data(),
                                  static_cast<unsigned>(name.size()));
    gnutls_x509_crt_set_serial(certificate, "\x01", 1);
    gnutls_x509_crt_set_activation_time(certificate, time(nullptr) - 60);
    gnutls_x509_crt_set_expiration_time(certificate, time(nullptr) + 3600);
    gnutls_x509_crt_set_key(certificate, key);
    gnutls_x509_crt_sign2(certificate, certificate, key, GNUTLS_DIG_SHA256, 0);
    gnutls_datum_t text{};
    Pem pem;
    gnutls_x509_crt_export2(certificate, GNUTLS_X509_FMT_PEM, &text);
    pem.certificate = taken(text);
    gnutls_x509_privkey_export2(key, GNUTLS_X509_FMT_PEM, &text);
    pem.key = taken(text);
    gnutls_x509_crt_deinit(certificate);
    gnutls_x509_privkey_deinit(key);
    return pem;
}

// One connection over TLS, which trusts whatever it gets and says what it got.
class TlsClient {
public:
    explicit TlsClient(std::uint16_t port, const char* priorities = "NORMAL") : client_(port) {
        gnutls_certificate_allocate_credentials(&credentials_);
        gnutls_init(&session_, GNUTLS_CLIENT);
        gnutls_priority_set_direct(session_, priorities, nullptr);
        gnutls_credentials_set(session_, GNUTLS_CRD_CERTIFICATE, credentials_);
        gnutls_transport_set_int(session_, client_.descriptor());
        gnutls_handshake_set_timeout(session_, static_cast<unsigned>(paced(5000)));
        int code = 0;
        do {
            code = gnutls_handshake(session_);
        } while (code < 0 && gnutls_error_is_fatal(code) == 0);
        isOpen_ = code == 0;
    }
    ~TlsClient() {
        gnutls_deinit(session_);
        gnutls_certificate_free_credentials(credentials_);
    }

    bool isOpen() const { return isOpen_; }
    // "CN=first"
    std::string serverName() const {
        unsigned count = 0;
        const gnutls_datum_t* const list = gnutls_certificate_get_peers(session_, &count);
        if (list == nullptr) {
            return "";
        }
        gnutls_x509_crt_t certificate = nullptr;
        gnutls_x509_crt_init(&certificate);
        gnutls_x509_crt_import(certificate, list, GNUTLS_X509_FMT_DER);
        gnutls_datum_t name{};
        gnutls_x509_crt_get_dn2(certificate, &name);
        gnutls_x509_crt_deinit(certificate);
        return taken(name);
    }
    std::string ask(const std::string& request) {
        gnutls_record_send(session_, request.data(), request.size());
        std::string received;
        char bytes[4096];
        while (received.find("\r\n\r\nencrypted") == std::string::npos) {
            const ssize_t count = gnutls_record_recv(session_, bytes, sizeof bytes);
            if (count <= 0) {
                break;
            }
            received.append(bytes, static_cast<std::size_t>(count));
        }
        return received;
    }

private:
    RawClient client_;
    gnutls_certificate_credentials_t credentials_ = nullptr;
    gnutls_session_t session_ = nullptr;
    bool isOpen_ = false;
};

class NamedSite : public Site {
public:
    Admission admit(const Request&) override { return {}; }
    Response answer(const Request& request) override {
        Response response;
        response.contentType = "text/plain";
        response.body = request.isEncrypted ? "encrypted" : "plain";
        return response;
    }
};

class TlsTest : public testing::Test {
protected:
    TlsTest() {
        char pattern[] = "/tmp/tls-XXXXXX";
        folder = mkdtemp(pattern);
        settings.certificateFile = folder + "/certificate.pem";
        settings.keyFile = folder + "/key.pem";
    }
    ~TlsTest() override {
        server.reset();
        unlink(settings.certificateFile.c_str());
        unlink(settings.keyFile.c_str());
        rmdir(folder.c_str());
    }
    static void write(const std::string& path, const std::string& text) {
        std::ofstream(path + ".new") << text;
        std::rename((path + ".new").c_str(), path.c_str());
    }
    void write(const Pem& pem) {
        write(settings.certificateFile, pem.certificate);
        write(settings.keyFile, pem.key);
    }
    bool start() {
        std::unique_ptr<Listener> listener = Listener::open("127.0.0.1", 0, &error);
        port = listener->port();
        server = Server::start(std::move(listener), settings, site, &error);
        return server != nullptr;
    }

    std::string folder;
    std::string error;
    ServerSettings settings;
    NamedSite site;
    std::uint16_t port = 0;
    std::unique_ptr<Server> server;
};

const char* const kRequest = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

TEST_F(TlsTest, AnswersEncryptedAndNothingElse) {
    write(makeCertificate("first"));
    ASSERT_TRUE(start()) << error;
    TlsClient client(port);
    ASSERT_TRUE(client.isOpen());
    EXPECT_THAT(client.ask(kRequest), HasSubstr("encrypted"));
    EXPECT_EQ(RawClient(port).ask(kRequest).status, 0);
}

TEST_F(TlsTest, SpeaksNoVersionBefore12) {
    write(makeCertificate("first"));
    ASSERT_TRUE(start()) << error;
    EXPECT_TRUE(TlsClient(port, "NORMAL:-VERS-ALL:+VERS-TLS1.2").isOpen());
    EXPECT_TRUE(TlsClient(port, "NORMAL:-VERS-ALL:+VERS-TLS1.3").isOpen());
    EXPECT_FALSE(TlsClient(port, "NORMAL:-VERS-ALL:+VERS-TLS1.1:+VERS-TLS1.0:%COMPAT").isOpen());
}

TEST_F(TlsTest, AConnectionMadeAfterTheFilesChangedGetsTheNewCertificate) {
    write(makeCertificate("first"));
    ASSERT_TRUE(start()) << error;
    TlsClient before(port);
    EXPECT_EQ(before.serverName(), "CN=first");
    write(makeCertificate("second"));
    EXPECT_EQ(TlsClient(port).serverName(), "CN=second");
    EXPECT_THAT(before.ask(kRequest), HasSubstr("encrypted"));  // and goes on
}

TEST_F(TlsTest, HalfARenewalAndABrokenFileLeaveThePairBefore) {
    const Pem first = makeCertificate("first");
    const Pem second = makeCertificate("second");
    write(first);
    ASSERT_TRUE(start()) << error;
    write(settings.certificateFile, second.certificate);
    EXPECT_EQ(TlsClient(port).serverName(), "CN=first");
    EXPECT_THAT(server->tlsProblem(), HasSubstr("certificate.pem"));
    write(settings.keyFile, second.key);
    EXPECT_EQ(TlsClient(port).serverName(), "CN=second");
    EXPECT_EQ(server->tlsProblem(), "");
    write(settings.certificateFile, "nothing");
    EXPECT_EQ(TlsClient(port).serverName(), "CN=second");
    unlink(settings.certificateFile.c_str());
    EXPECT_EQ(TlsClient(port).serverName(), "CN=second");
    EXPECT_THAT(server->tlsProblem(), HasSubstr("No such file"));
}

TEST_F(TlsTest, DoesNotStartWithoutAPairThatFits) {
    EXPECT_FALSE(start());
    EXPECT_THAT(error, HasSubstr("No such file"));
    write({makeCertificate("first").certificate, makeCertificate("second").key});
    EXPECT_FALSE(start());
    EXPECT_THAT(error, HasSubstr("key.pem"));
}

TEST_F(TlsTest, AHandshakeThatIsNotGoneOnWithEndsAfterItsTime) {
    write(makeCertificate("first"));
    settings.requestTime = std::chrono::milliseconds(paced(300));
    ASSERT_TRUE(start()) << error;
    RawClient silent(port);
    EXPECT_TRUE(silent.isClosedWithin(paced(3000)));
    EXPECT_TRUE(TlsClient(port).isOpen());
}

}  // namespace
}  // namespace ac500::http
