// Conversation is what is said with one client of the local door: lines in, messages out, without the socket between. It
// holds what the client has read and written, and what it was told last. docs/gateway-socket.md is its language.
//
// Not thread-safe.
#ifndef AC500_TOOLS_GATEWAY_CONVERSATION_H
#define AC500_TOOLS_GATEWAY_CONVERSATION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway/plant.h"
#include "tools/host/via/message.h"

namespace ac500::gateway {

class Conversation {
public:
    // `who` orders its writes, for the audit. The plant must outlive it. REQUIRES: the plant was started
    Conversation(Plant& plant, std::string who);
    // What it had read is not read for it any more; writes that were ordered go on.
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    // Takes a line; what is to be answered at once is added to *answers. False: it is none of the language, and the client is
    // to be let go once it has the answer.
    bool take(const std::string& line, std::vector<via::Json>* answers);

    // What is new, when the client waits for it and something is, or the beat is due; nothing else. To be called when
    // something may have changed, and now and then.
    std::optional<via::Json> news();

private:
    struct Watched {
        std::optional<host::Tag> tag;  // nothing: there is no such tag
        std::optional<host::TagValue> told;
    };
    struct Reading {
        host::Tag tag;
        std::int32_t serial = 0;
    };
    struct Write {
        host::Tag tag;
        host::WriteTicket ticket;
    };

    via::Json find(const via::Json& request) const;
    via::Json watch(const via::Json& request, std::int64_t id);
    std::string read(const via::Json& request);
    std::string giveUp(const via::Json& request);
    std::string write(const via::Json& request);
    std::optional<host::Tag> tagOf(const via::Json& text, std::string* problem) const;
    void stopWatching();

    bool addStatus(via::Json* news, host::Time now);
    bool addValues(via::Json* news);
    bool isTimeToLook(host::Time now);
    bool addEnded(via::Json* news);
    bool addWrites(via::Json* news, host::Time now);
    bool addEvents(via::Json* news);

    Plant& plant_;
    const std::string who_;

    std::optional<std::int64_t> newsId_;  // of the request that waits
    host::Time toldAt_{0};                // when it got news last
    std::vector<Watched> watched_;
    std::optional<std::size_t> receptions_;  // of the session, when the tags were looked at last
    host::Time lookedAt_{0};
    std::int64_t watch_ = 0;      // the request that began it
    std::optional<int> polling_;  // of those that the plant does not read anyway
    std::map<std::int64_t, Reading> readings_;
    std::map<std::int64_t, Write> writes_;
    host::Time checkedAt_{0};                 // when the session was made to look at their deadlines last
    via::Json reports_ = via::Json::array();  // of writes that were refused at once
    via::Json refused_ = via::Json::array();  // likewise, of readings
    std::size_t nextEvent_ = 0;
    std::optional<host::SessionStatus> status_;  // as it was told last
    host::Time statusAt_{0};
};

}  // namespace ac500::gateway

#endif
