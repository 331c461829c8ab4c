#include "tools/http/certificate_files.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <gnutls/gnutls.h>

#include "tools/text/file_text.h"

namespace ac500::http {

namespace {

constexpr std::size_t kMaxPemBytes = 1024 * 1024;

gnutls_datum_t datumOf(const std::string& text) {
    return {reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())), static_cast<unsigned>(text.size())};
}

// Empty, or what is wrong with the pair.
std::string pairProblem(const PemPair& pair) {
    gnutls_certificate_credentials_t credentials = nullptr;
    if (gnutls_certificate_allocate_credentials(&credentials) < 0) {
        return "no memory";
    }
    const gnutls_datum_t certificates = datumOf(pair.certificates);
    const gnutls_datum_t key = datumOf(pair.key);
    const int code = gnutls_certificate_set_x509_key_mem(credentials, &certificates, &key, GNUTLS_X509_FMT_PEM);
    gnutls_certificate_free_credentials(credentials);
    return code < 0 ? gnutls_strerror(code) : "";
}

bool readPem(const std::string& file, std::string* text, std::string* error) {
    if (!text::readUpTo(file, kMaxPemBytes, text)) {
        *error = file + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace

CertificateFiles::CertificateFiles(std::string certificateFile, std::string keyFile)
    : certificateFile_(std::move(certificateFile)), keyFile_(std::move(keyFile)) {}

std::shared_ptr<const PemPair> CertificateFiles::current(std::string* error) {
    const FileStamp certificateStamp = stampOf(certificateFile_);
    const FileStamp keyStamp = stampOf(keyFile_);
    const std::lock_guard<std::mutex> guard(mutex_);
    if (pair_ && certificateStamp == certificateStamp_ && keyStamp == keyStamp_) {
        return pair_;
    }
    PemPair pair;
    if (!readPem(certificateFile_, &pair.certificates, error) || !readPem(keyFile_, &pair.key, error)) {
        return pair_;
    }
    const std::string problem = pairProblem(pair);
    if (!problem.empty()) {
        *error = certificateFile_ + ", " + keyFile_ + ": " + problem;
        return pair_;
    }
    certificateStamp_ = certificateStamp;
    keyStamp_ = keyStamp;
    pair_ = std::make_shared<const PemPair>(std::move(pair));
    return pair_;
}

}  // namespace ac500::http
