// Requests to the gateway's page, as the server hands them on: header lines, an empty line, a body. Whatever comes, only our
// own names pass, only our own page changes something, and what a body says keeps within its bounds.
#include <algorithm>
#include <set>
#include <sstream>
#include <string>

#include "tests/fuzz/fuzz_check.h"
#include "tools/gateway/json_body.h"
#include "tools/http/request_checks.h"
#include "tools/http/token_file.h"

using namespace ac500;

namespace {

// Every name of a server on 127.0.0.1, port 8500, that is also called gateway.plant.
const std::set<std::string> kHosts = {"127.0.0.1:8500", "localhost:8500", "[::1]:8500", "gateway.plant:8500"};

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    });
    return text;
}

http::Request requestOf(const std::string& text) {
    http::Request request;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        const std::size_t colon = line.find(':');
        const std::size_t value = line.find_first_not_of(' ', std::min(colon, line.size() - 1) + 1);
        request.headers.emplace_back(
            lowerCase(line.substr(0, colon)),
            colon == std::string::npos || value == std::string::npos ? "" : line.substr(value));
    }
    const std::size_t end = text.find("\n\n");
    request.body = end == std::string::npos ? "" : text.substr(end + 2);
    return request;
}

void checkChecks(const http::Request& request) {
    static const http::OwnNames names("127.0.0.1", 8500, false, {"gateway.plant"});
    const std::vector<std::string> hosts = request.header("host");
    const std::vector<std::string> origins = request.header("origin");
    if (!http::checkHost(request, names)) {
        FUZZ_CHECK(hosts.size() == 1 && kHosts.count(lowerCase(hosts.front())) == 1);
    }
    const bool isOwnOrigin = origins.size() == 1 && lowerCase(origins.front()).substr(0, 7) == "http://" &&
                             kHosts.count(lowerCase(origins.front()).substr(7)) == 1;
    if (!http::checkNotForeign(request, names)) {
        FUZZ_CHECK(origins.empty() || isOwnOrigin);
    }
    if (!http::checkChange(request, names)) {
        FUZZ_CHECK(isOwnOrigin);
        FUZZ_CHECK(lowerCase(request.header("content-type").front()).find("application/json") != std::string::npos);
        FUZZ_CHECK(!http::checkNotForeign(request, names));  // who may change something may look, too
    }
}

void checkBody(const std::string& text) {
    gateway::JsonBody body(text, {"stream", "tag", "text", "old", "expires_ms", "number", "tags"});
    const std::string stream = body.text("stream", 64);
    const std::int64_t tag = body.integer("tag", 0, 1000);
    const std::vector<std::string> old = body.texts("old", 10, 100);
    const std::vector<std::size_t> tags = body.numbers("tags", 10, 5);
    FUZZ_CHECK(stream.size() <= 64 && tag >= 0 && tag <= 1000 && old.size() <= 10 && tags.size() <= 10);
    FUZZ_CHECK(std::all_of(tags.begin(), tags.end(), [](std::size_t number) { return number < 5; }));
    // Not all keys can be absent without a word.
    FUZZ_CHECK(!body.problem().empty() || text.find("stream") != std::string::npos ||
               text.find('\\') != std::string::npos);
}

void checkTokens(const std::string& text) {
    std::string problem;
    const std::optional<std::vector<http::TokenLine>> lines = http::parseTokens(text, &problem);
    FUZZ_CHECK(lines.has_value() == problem.empty());
    std::set<std::string> names;
    for (const http::TokenLine& line : lines.value_or(std::vector<http::TokenLine>())) {
        FUZZ_CHECK(names.insert(line.name).second);
        FUZZ_CHECK(line.name.find_first_of(" .:\n") == std::string::npos);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const http::Request request = requestOf(text);
    checkChecks(request);
    FUZZ_CHECK(request.cookie("ac500-gateway-8500").find(';') == std::string::npos);
    checkBody(request.body);
    checkTokens(request.body);
    const std::string quoted = http::jsonText(text);
    FUZZ_CHECK(quoted.size() >= 2 && quoted.find('\n') == std::string::npos);
    return 0;
}
