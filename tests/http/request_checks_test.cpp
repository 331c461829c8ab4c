#include "tools/http/request_checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::http {
namespace {

const OwnNames kNames("127.0.0.1", 8500, false, {"gateway.plant", "panel.example:443"});

Request withHeaders(const Fields& headers) {
    Request request;
    request.headers = headers;
    return request;
}

int hostStatus(const Fields& headers) {
    const std::optional<Response> refusal = checkHost(withHeaders(headers), kNames);
    return refusal ? refusal->status : 0;
}

int foreignStatus(Fields headers, const std::string& host = "127.0.0.1:8500") {
    headers.emplace_back("host", host);
    const std::optional<Response> refusal = checkNotForeign(withHeaders(headers), kNames);
    return refusal ? refusal->status : 0;
}

int changeStatus(Fields headers, const std::string& host = "127.0.0.1:8500") {
    headers.emplace_back("host", host);
    const std::optional<Response> refusal = checkChange(withHeaders(headers), kNames);
    return refusal ? refusal->status : 0;
}

TEST(OwnHost, IsOneOfOurNamesWithItsPort) {
    for (const char* const host : {"127.0.0.1:8500", "localhost:8500", "LOCALHOST:8500", "[::1]:8500",
                                   "gateway.plant:8500", "panel.example:443"}) {
        EXPECT_EQ(hostStatus({{"host", host}}), 0) << host;
    }
    for (const char* const host :
         {"rebound.example:8500", "127.0.0.1", "127.0.0.1:8501", "127.0.0.1:8500.rebound.example", "gateway.plant",
          "gateway.plant.:8500", "panel.example:8500", "", "127.0.0.1:8500 ", "user@127.0.0.1:8500", "[::1]",
          "0.0.0.0:8500"}) {
        EXPECT_EQ(hostStatus({{"host", host}}), 421) << host;
    }
}

TEST(OwnHost, IsThereOnce) {
    EXPECT_EQ(hostStatus({}), 421);
    EXPECT_EQ(hostStatus({{"host", "127.0.0.1:8500"}, {"host", "127.0.0.1:8500"}}), 421);
}

TEST(OwnHost, NeedsNoPortWhereBrowsersLeaveItOut) {
    const OwnNames plain("127.0.0.1", 80, false, {});
    EXPECT_TRUE(plain.hasHost("127.0.0.1"));
    EXPECT_TRUE(plain.hasHost("[::1]"));
    EXPECT_FALSE(plain.hasHost("rebound.example"));
    EXPECT_FALSE(OwnNames("127.0.0.1", 443, false, {}).hasHost("127.0.0.1"));
    EXPECT_TRUE(OwnNames("127.0.0.1", 443, true, {}).isOriginOf("https://127.0.0.1", "127.0.0.1"));
}

TEST(OwnHost, OfAServerForAllAddressesIsNamedInItsSettings) {
    const OwnNames open("0.0.0.0", 8500, true, {"gateway.plant"});
    EXPECT_TRUE(open.hasHost("gateway.plant:8500"));
    EXPECT_FALSE(open.hasHost("0.0.0.0:8500"));
    EXPECT_TRUE(OwnNames("192.0.2.7", 8500, true, {}).hasHost("192.0.2.7:8500"));
}

TEST(ForeignPages, AreKnownByOriginAndSecFetchSite) {
    EXPECT_EQ(foreignStatus({}), 0);
    EXPECT_EQ(foreignStatus({{"origin", "http://127.0.0.1:8500"}, {"sec-fetch-site", "same-origin"}}), 0);
    EXPECT_EQ(foreignStatus({{"sec-fetch-site", "none"}}), 0);
    for (const char* const origin :
         {"http://127.0.0.1:8501", "https://127.0.0.1:8500", "http://rebound.example:8500", "null", ""}) {
        EXPECT_EQ(foreignStatus({{"origin", origin}}), 403) << origin;
    }
    EXPECT_EQ(foreignStatus({{"sec-fetch-site", "cross-site"}}), 403);
    EXPECT_EQ(foreignStatus({{"sec-fetch-site", "same-site"}}), 403);  // another port of this machine
    EXPECT_EQ(foreignStatus({{"origin", "http://127.0.0.1:8500"}, {"origin", "http://rebound.example"}}), 403);
}

TEST(Changes, ComeFromOurOwnPageAsJson) {
    const Fields good = {
        {"origin", "http://127.0.0.1:8500"}, {"sec-fetch-site", "same-origin"}, {"content-type", "application/json"}};
    EXPECT_EQ(changeStatus(good), 0);
    EXPECT_EQ(changeStatus({{"origin", "http://localhost:8500"}, {"content-type", "Application/JSON; charset=utf-8"}},
                           "LOCALHOST:8500"),
              0);
    EXPECT_EQ(changeStatus({{"content-type", "application/json"}}), 403);
    EXPECT_EQ(changeStatus({{"origin", "http://127.0.0.1:9000"}, {"content-type", "application/json"}}), 403);
    EXPECT_EQ(changeStatus({{"origin", "http://127.0.0.1:8500"},
                            {"sec-fetch-site", "same-site"},
                            {"content-type", "application/json"}}),
              403);
    EXPECT_EQ(
        changeStatus(
            {{"origin", "http://127.0.0.1:8500"}, {"sec-fetch-site", "none"}, {"content-type", "application/json"}}),
        403);
    for (const char* const type : {"text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "",
                                   "application/jsonp", "text/plain; application/json"}) {
        EXPECT_EQ(changeStatus({{"origin", "http://127.0.0.1:8500"}, {"content-type", type}}), 415) << type;
    }
    EXPECT_EQ(changeStatus({{"origin", "http://127.0.0.1:8500"}}), 415);
}

TEST(ForeignPages, AreThoseOfAnotherOfOurNames) {
    const Fields local = {{"origin", "http://localhost:8500"}, {"content-type", "application/json"}};
    EXPECT_EQ(foreignStatus(local, "localhost:8500"), 0);
    EXPECT_EQ(foreignStatus(local, "127.0.0.1:8500"), 403);
    EXPECT_EQ(foreignStatus(local, "gateway.plant:8500"), 403);
    EXPECT_EQ(changeStatus(local, "localhost:8500"), 0);
    EXPECT_EQ(changeStatus(local, "127.0.0.1:8500"), 403);
    EXPECT_FALSE(kNames.isOriginOf("http://rebound.example:8500", "rebound.example:8500"));
}

TEST(Cookies, AreFoundByTheirWholeName) {
    EXPECT_EQ(withHeaders({{"cookie", "a=1; sign-in=xyz; b=2"}}).cookie("sign-in"), "xyz");
    EXPECT_EQ(withHeaders({{"cookie", "sign-in=xyz"}}).cookie("sign"), "");
    EXPECT_EQ(withHeaders({{"cookie", "xsign-in=xyz"}}).cookie("sign-in"), "");
    EXPECT_EQ(withHeaders({{"cookie", "sign-in=a; sign-in=b"}}).cookie("sign-in"), "");
    EXPECT_EQ(withHeaders({{"cookie", ";;= ;"}}).cookie("sign-in"), "");
    EXPECT_EQ(withHeaders({}).cookie("sign-in"), "");
}

TEST(JsonText, IsWhatBrowsersTake) {
    EXPECT_EQ(jsonText("a\"b\\\n\x01"), R"("a\"b\\\n\u0001")");
    EXPECT_EQ(jsonText("\xff"), "\"\xef\xbf\xbd\"");
}

}  // namespace
}  // namespace ac500::http
