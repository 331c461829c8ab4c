#include "tools/host/offline_driver.h"

#include <fmt/format.h>

#include "core/codes.h"
#include "tools/host/request_frame.h"
#include "tools/host/session_types.h"
#include "tools/host/tag_access.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::host {

namespace {

// All zeros behind the envelope: the status word is good, and so are the session bytes.
QByteArray goodReply(const RequestFrame& request) {
    int bytes = request.expectedReplyBytes;
    if (request.service == Service::Hello) {
        bytes = wire::kHelloReplyBytes;
    } else if (request.service == Service::Symbols) {
        bytes = wire::kSymbolsReplyBytes;
    }
    wire::Bytes reply(static_cast<std::size_t>(bytes), '\0');
    wire::putEnvelope(reply);
    return QByteArray(reply.data(), static_cast<int>(reply.size()));
}

}  // namespace

OfflineDriver::OfflineDriver(const DriverFunctions& driver, const TagTable& tags)
    : driver_(driver), tags_(tags), guard_(tags), reports_(driver) {}

bool OfflineDriver::start(std::string* error) {
    if (!reports_.isActive()) {
        *error = "a session of this process uses the driver";
        return false;
    }
    comInfo_.maxRequestWords = SessionSettings().maxRequestWords;
    comInfo_.accessMode = kAccessPlc;
    driver_.setComInfo(&comInfo_);
    driver_.setLocalRegisters(nullptr, nullptr, nullptr);
    QList<Label_Type_Info> records = labelRecords(tags_.file());
    driver_.passSymbols(&records);
    return true;
}

OfflineDriver::Answer OfflineDriver::resolve(const std::string& name) const {
    Answer answer;
    answer.code = driver_.resolveTag(QString::fromStdString(name), answer.info);
    return answer;
}

bool OfflineDriver::transfers(const Tag& tag) {
    return TagAccess(driver_, 2 * comInfo_.maxRequestWords).rebuildCyclicList({tag}) > 0;
}

std::optional<desk::ObservedPass> OfflineDriver::observePass(const std::vector<Tag>& tags, int maxRequestWords,
                                                             std::string* error) {
    comInfo_.maxRequestWords = maxRequestWords;
    desk::ObservedPass pass;
    TagAccess access(driver_, 2 * maxRequestWords);
    pass.listItems = access.rebuildCyclicList(tags);
    for (const Tag& guard : guard_.tags()) {
        pass.listItems = access.addToCyclicList(guard).value_or(pass.listItems);
    }
    for (int answered = 0; answered < pass.listItems;) {
        Protocol* offered = driver_.nextRequest();
        if (offered == nullptr) {
            *error = "the driver has a list to read and asks for nothing";
            return std::nullopt;
        }
        const RequestFrame request = parseRequest(offered->frame);
        const QByteArray reply = goodReply(request);
        if (request.service == Service::Read) {
            pass.requests.push_back({request.items, offered->frame.size(), reply.size()});
            answered += static_cast<int>(request.items.size());
        }
        if (!answerRequest(offered, reply)) {
            *error = fmt::format("the driver does not take the reply of {} bytes to its {} request", reply.size(),
                                 wire::serviceName(request.service));
            return std::nullopt;
        }
    }
    return pass;
}

bool OfflineDriver::answerRequest(Protocol* request, QByteArray reply) {
    if (request->replyLength == kNotMeasured) {
        driver_.takeReply(&reply, reply.size());
    }
    return isAccepted(driver_.takeReply(&reply, reply.size())->status);
}

std::vector<desk::WantedTag> wantedBytes(const std::vector<Tag>& tags) {
    std::vector<desk::WantedTag> wanted;
    wanted.reserve(tags.size());
    for (const Tag& tag : tags) {
        wanted.push_back({tag.text, tag.byteRuns()});
    }
    return wanted;
}

}  // namespace ac500::host
