#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/http/sign_ins.h"
#include "tools/http/token_file.h"

namespace ac500::http {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr SignIns::Time kNow{1000000};

class TokensTest : public testing::Test {
protected:
    TokensTest() {
        char pattern[] = "/tmp/tokens-XXXXXX";
        folder = mkdtemp(pattern);
        path = folder + "/tokens";
    }
    ~TokensTest() override {
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
    void write(const std::string& text, mode_t mode = 0600) {
        const std::string next = path + ".new";
        std::ofstream(next) << text;
        chmod(next.c_str(), mode);
        rename(next.c_str(), path.c_str());
    }

    std::string folder;
    std::string path;
};

TEST_F(TokensTest, ANewTokenIsKnownByItsLineAndNothingElseIs) {
    const NewToken anna = *makeToken("anna", Right::Write);
    const NewToken bert = *makeToken("bert", Right::View);
    EXPECT_THAT(anna.token, StartsWith("anna."));
    EXPECT_EQ(anna.token.size(), 5 + 64U);
    EXPECT_THAT(anna.line, StartsWith("anna write pbkdf2-sha256:100000:"));
    EXPECT_THAT(anna.line, Not(HasSubstr(anna.token.substr(5))));
    write("# people\n" + anna.line + "\n\n" + bert.line + "\n");
    TokenFile file(path);
    EXPECT_EQ(file.problem(), "");
    ASSERT_TRUE(file.lineOf(anna.token));
    EXPECT_EQ(file.lineOf(anna.token)->name, "anna");
    EXPECT_EQ(file.lineOf(anna.token)->right, Right::Write);
    EXPECT_EQ(file.lineOf(bert.token)->right, Right::View);
    std::string wrong = anna.token;
    wrong.back() = wrong.back() == '0' ? '1' : '0';
    EXPECT_FALSE(file.lineOf(wrong));
    EXPECT_FALSE(file.lineOf("bert" + anna.token.substr(4)));
    EXPECT_FALSE(file.lineOf("carl" + anna.token.substr(4)));
    EXPECT_FALSE(file.lineOf("anna"));
    EXPECT_FALSE(file.lineOf("anna."));
    EXPECT_FALSE(file.lineOf(""));
}

TEST_F(TokensTest, AKnownHashIsWhatOthersComputeToo) {
    // Python: hashlib.pbkdf2_hmac("sha256", b"secret", bytes(range(16)), 2)
    write(
        "anna view pbkdf2-sha256:2:000102030405060708090a0b0c0d0e0f:"
        "b7dcf3781e6cb8bc75ff4d6f4310e22e43af83be53e10d22b048ebaea6899319\n");
    EXPECT_TRUE(TokenFile(path).lineOf("anna.secret"));
    EXPECT_FALSE(TokenFile(path).lineOf("anna.secreT"));
}

TEST_F(TokensTest, NamesOfTokensAreLettersDigitsHyphenAndUnderscore) {
    EXPECT_TRUE(makeToken("a-B_9", Right::View));
    EXPECT_FALSE(makeToken("", Right::View));
    EXPECT_FALSE(makeToken("a.b", Right::View));
    EXPECT_FALSE(makeToken("a b", Right::View));
    EXPECT_FALSE(makeToken("a\n", Right::View));
    EXPECT_FALSE(makeToken(std::string(33, 'a'), Right::View));
}

TEST_F(TokensTest, AFileThatOthersMayReadIsUsedForNobody) {
    const NewToken anna = *makeToken("anna", Right::Write);
    write(anna.line, 0640);
    TokenFile file(path);
    EXPECT_THAT(file.problem(), HasSubstr("chmod 600"));
    EXPECT_FALSE(file.lineOf(anna.token));
    chmod(path.c_str(), 0600);
    EXPECT_EQ(file.problem(), "");
    EXPECT_TRUE(file.lineOf(anna.token));
}

TEST_F(TokensTest, APipeInThePlaceOfTheFileIsNotWaitedFor) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    TokenFile file(path);
    EXPECT_THAT(file.problem(), HasSubstr("is no regular file"));
}

TEST_F(TokensTest, AFileWithABadLineIsUsedForNobodyAndTheLineIsNamed) {
    const std::string good = makeToken("anna", Right::Write)->line;
    const std::string hash = good.substr(good.rfind(' ') + 1);
    const struct {
        std::string line;
        const char* problem;
    } rows[] = {
        {"b.c view " + hash, "line 2: a name is"},
        {"bert own " + hash, "line 2: the right is view or write"},
        {"bert view", "line 2: the hash is not one"},
        {"bert view " + hash + " more", "line 2: the hash is not one"},
        {"bert view " + hash + "0", "line 2: the hash is not one"},
        {"bert view pbkdf2-sha256:0" + hash.substr(hash.find(':', 15)), "line 2: the hash is not one"},
        {"bert view pbkdf2-sha256:99999999" + hash.substr(hash.find(':', 15)), "line 2: the hash is not one"},
        {"bert view md5" + hash.substr(13), "line 2: the hash is not one"},
        {good, "line 2: there is a token anna above"},
    };
    for (const auto& row : rows) {
        write(good + "\n" + row.line + "\n");
        TokenFile file(path);
        EXPECT_THAT(file.problem(), HasSubstr(row.problem)) << row.line;
    }
    TokenFile missing(folder + "/none");
    EXPECT_THAT(missing.problem(), HasSubstr("No such file"));
}

TEST_F(TokensTest, ATokenThatIsTakenOutOfTheFileEndsItsSignIns) {
    const NewToken anna = *makeToken("anna", Right::Write);
    const NewToken bert = *makeToken("bert", Right::View);
    write(anna.line + "\n" + bert.line + "\n");
    TokenFile file(path);
    SignIns signIns(file);
    const std::string annas = signIns.signIn(anna.token, "127.0.0.1", kNow).id;
    const std::string berts = signIns.signIn(bert.token, "127.0.0.1", kNow).id;
    ASSERT_TRUE(signIns.find(annas, kNow));
    write(bert.line + "\n");
    EXPECT_FALSE(signIns.find(annas, kNow));
    EXPECT_TRUE(signIns.find(berts, kNow));
    write(anna.line + "\n" + bert.line + "\n");
    EXPECT_FALSE(signIns.find(annas, kNow));  // what has ended stays ended
    write("");
    EXPECT_FALSE(signIns.find(berts, kNow));
}

TEST_F(TokensTest, AnotherRightInTheFileEndsSignInsToo) {
    const NewToken anna = *makeToken("anna", Right::Write);
    write(anna.line);
    TokenFile file(path);
    SignIns signIns(file);
    const std::string id = signIns.signIn(anna.token, "127.0.0.1", kNow).id;
    write("anna view" + anna.line.substr(10));
    EXPECT_FALSE(signIns.find(id, kNow));
}

TEST_F(TokensTest, SignInsEndWithSignOutAndAfterTwelveHours) {
    const NewToken anna = *makeToken("anna", Right::Write);
    write(anna.line);
    TokenFile file(path);
    SignIns signIns(file);
    const std::string first = signIns.signIn(anna.token, "127.0.0.1", kNow).id;
    const std::string second = signIns.signIn(anna.token, "127.0.0.1", kNow).id;
    EXPECT_EQ(first.size(), 64U);
    EXPECT_NE(first, second);
    EXPECT_FALSE(signIns.find("", kNow));
    EXPECT_FALSE(signIns.find(first.substr(0, 63), kNow));
    signIns.signOut(first);
    EXPECT_FALSE(signIns.find(first, kNow));
    EXPECT_TRUE(signIns.find(second, kNow + hours(12) - milliseconds(1)));
    EXPECT_FALSE(signIns.find(second, kNow + hours(12)));
}

TEST_F(TokensTest, NoMoreSignInsAreKeptThanTheirBound) {
    write(
        "anna view pbkdf2-sha256:2:000102030405060708090a0b0c0d0e0f:"
        "b7dcf3781e6cb8bc75ff4d6f4310e22e43af83be53e10d22b048ebaea6899319\n");
    TokenFile file(path);
    SignIns signIns(file);
    const std::string first = signIns.signIn("anna.secret", "127.0.0.1", kNow).id;
    for (std::size_t count = 1; count < SignIns::kMost; ++count) {
        ASSERT_EQ(signIns.signIn("anna.secret", "127.0.0.1", kNow).outcome, SignIns::Outcome::SignedIn);
    }
    EXPECT_TRUE(signIns.find(first, kNow));
    signIns.signIn("anna.secret", "127.0.0.1", kNow);
    EXPECT_FALSE(signIns.find(first, kNow));
}

TEST_F(TokensTest, WrongTokensAreBoundedOfEachAddressAndOfAll) {
    const NewToken anna = *makeToken("anna", Right::Write);
    write(anna.line);
    TokenFile file(path);
    SignIns signIns(file, {{3, seconds(10)}, {5, seconds(1)}, 100});
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(signIns.signIn("x", "192.0.2.1", kNow).outcome, SignIns::Outcome::WrongToken);
    }
    // Nor is the right one looked at then.
    EXPECT_EQ(signIns.signIn(anna.token, "192.0.2.1", kNow).outcome, SignIns::Outcome::TooMany);
    EXPECT_EQ(signIns.signIn(anna.token, "192.0.2.2", kNow).outcome, SignIns::Outcome::SignedIn);
    for (const char* const address : {"192.0.2.3", "192.0.2.4"}) {
        EXPECT_EQ(signIns.signIn("x", address, kNow).outcome, SignIns::Outcome::WrongToken);
    }
    EXPECT_EQ(signIns.signIn("x", "192.0.2.5", kNow).outcome, SignIns::Outcome::TooMany);
    EXPECT_EQ(signIns.signIn("x", "192.0.2.5", kNow + seconds(1)).outcome, SignIns::Outcome::WrongToken);
    EXPECT_EQ(signIns.signIn("x", "192.0.2.1", kNow + seconds(9)).outcome, SignIns::Outcome::TooMany);
    EXPECT_EQ(signIns.signIn(anna.token, "192.0.2.1", kNow + seconds(10)).outcome, SignIns::Outcome::SignedIn);
}

TEST(RateLimitTest, KeepsAccountOfABoundedNumberOfClients) {
    RateLimit limit({{2, seconds(10)}, {1000, seconds(1)}, 3});
    for (const char* const client : {"a", "b", "c"}) {
        EXPECT_TRUE(limit.take(client, kNow));
    }
    EXPECT_FALSE(limit.take("d", kNow));
    EXPECT_TRUE(limit.take("a", kNow));
    EXPECT_TRUE(limit.take("d", kNow + seconds(10)));  // b and c are forgotten
}

TEST_F(TokensTest, AFileThatCouldNotBeReadOnceIsReadAgainThoughItIsTheSame) {
    const NewToken anna = *makeToken("anna", Right::Write);
    write(anna.line + "\n");
    TokenFile file(path);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{0, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::string problem = file.problem();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_THAT(problem, HasSubstr("Too many open files"));
    EXPECT_EQ(file.problem(), "");
    EXPECT_TRUE(file.lineOf(anna.token));
}

}  // namespace
}  // namespace ac500::http
