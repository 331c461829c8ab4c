// CertificateFiles is a server's certificate and key, as PEM files that are renewed while it runs.
#ifndef AC500_TOOLS_HTTP_CERTIFICATE_FILES_H
#define AC500_TOOLS_HTTP_CERTIFICATE_FILES_H

#include <memory>
#include <mutex>
#include <string>

#include "tools/http/file_stamp.h"

namespace ac500::http {

struct PemPair {
    std::string certificates;  // the server's first, then those that vouch for it
    std::string key;
};

// All functions may be called from any thread.
class CertificateFiles {
public:
    CertificateFiles(std::string certificateFile, std::string keyFile);

    // The pair that counts now: the files are read when they have changed. As long as they cannot be read, or do not belong
    // together, as between the renewal of one and of the other, it is the pair before; null, and *error says why, when
    // there was none.
    std::shared_ptr<const PemPair> current(std::string* error);

private:
    const std::string certificateFile_;
    const std::string keyFile_;
    std::mutex mutex_;
    FileStamp certificateStamp_;  // mutex_, as the next two
    FileStamp keyStamp_;
    std::shared_ptr<const PemPair> pair_;
};

}  // namespace ac500::http

#endif
