#include "tools/driver/driver_restore.h"

#include "core/codes.h"
#include "tools/driver/recorded_values.h"
#include "tools/wire/frame.h"

namespace ac500::host {

namespace {

quint32 ignoreVarDone(quint32, quint32, quint32, quint32) {
    return 0;
}

quint32 ignoreCommFailed(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

void putLength(QByteArray& reply) {
    const int payload = reply.size() - wire::kEnvelopeBytes;
    reply[0] = static_cast<char>(wire::kMagic >> 8);
    reply[1] = static_cast<char>(wire::kMagic & 0xFF);
    reply[wire::kLowLengthAt] = static_cast<char>(payload >> 8);
    reply[wire::kLowLengthAt + 1] = static_cast<char>(payload & 0xFF);
}

class Restorer {
public:
    Restorer(const record::Checkpoint& checkpoint, const DriverFunctions& driver)
        : checkpoint_(checkpoint), driver_(driver) {}

    bool run(ComInfo* info) {
        setUp(info);
        // With a failure and a new session the lists tell the difference: nothing but a read may be pending.
        const bool isSecondSession = checkpoint_.hasFailed && checkpoint_.isConnected;
        if ((isSecondSession && checkpoint_.readList.empty()) ||
            (!checkpoint_.isConnected && !checkpoint_.hasFailed && !checkpoint_.image.empty())) {
            return false;
        }
        const bool hasSession = checkpoint_.isConnected || checkpoint_.hasFailed;
        if (hasSession && !(storeImage() && (!checkpoint_.hasFailed || failOnce()))) {
            return false;
        }
        for (const record::VarRecord& read : checkpoint_.readList) {
            RW_VAR var = fromRecord(read);
            driver_.addCyclicRead(&var);
        }
        if (isSecondSession && !openSession()) {
            return false;
        }
        *info = fromRecord(checkpoint_.settings);
        return true;
    }

private:
    void setUp(ComInfo* info) {
        *info = fromRecord(checkpoint_.settings);
        info->accessMode = kAccessPlc;
        info->retryLimit = 0;
        info->retryCount = 0;
        info->firstPassDone = 1;
        driver_.setComInfo(info);
        driver_.registerCallbacks(&ignoreVarDone, &ignoreCommFailed);
        driver_.setLocalRegisters(nullptr, nullptr, nullptr);
        for (const std::vector<record::LabelRecord>& list : checkpoint_.symbols) {
            QList<Label_Type_Info> labels;
            for (const record::LabelRecord& label : list) {
                labels.append(fromRecord(label));
            }
            driver_.passSymbols(&labels);
        }
    }

    // The first variable of a write is mirrored in the image as soon as it is offered: so each is written alone. One
    // without bytes opens the session when there is nothing to store.
    bool storeImage() {
        bool isStored = write(RW_VAR{});
        for (const record::ImageRun& run : checkpoint_.image) {
            RW_VAR var{};
            var.area = run.area;
            var.offset = static_cast<qint32>(run.address);
            var.data = fromRecord(run.bytes);
            var.size = var.data.size();
            isStored = isStored && write(var);
        }
        return isStored && driver_.nextRequest() == nullptr;  // which begins to count turns anew
    }

    bool write(RW_VAR var) {
        var.writeFlag = 1;
        driver_.addWrite(&var);
        return openSession() && answer(wire::Service::Write, QByteArray(wire::kShortReplyBytes, '\0'));
    }

    // Nothing is done when it is open. REQUIRES: something is pending.
    bool openSession() {
        if (serviceOffered() != wire::Service::Hello) {
            return true;
        }
        QByteArray symbols(wire::kSymbolsReplyBytes, '\0');
        for (int i = 0; i < wire::kSessionBytes; ++i) {
            symbols[wire::kSessionAt + i] =
                static_cast<char>(checkpoint_.sessionBytes[static_cast<std::size_t>(wire::kSessionBytes - 1 - i)]);
        }
        return answer(wire::Service::Hello, QByteArray(wire::kHelloReplyBytes, '\0')) &&
               answer(wire::Service::Symbols, symbols);
    }

    std::optional<wire::Service> serviceOffered() {
        const Protocol* request = driver_.nextRequest();
        if (request == nullptr || request->frame.size() <= wire::kServiceAt) {
            return std::nullopt;
        }
        return wire::Service{wire::byteAt(request->frame.constData(), wire::kServiceAt)};
    }

    bool answer(wire::Service service, QByteArray reply) {
        if (serviceOffered() != service) {
            return false;
        }
        putLength(reply);
        driver_.takeReply(&reply, reply.size());
        return isAccepted(driver_.takeReply(&reply, reply.size())->status);
    }

    bool failOnce() {
        RW_VAR var{};
        var.writeFlag = 1;
        driver_.addWrite(&var);
        QByteArray nothing;
        return driver_.nextRequest() != nullptr && !isAccepted(driver_.takeReply(&nothing, 0)->status) &&
               driver_.nextRequest() == nullptr;
    }

    const record::Checkpoint& checkpoint_;
    const DriverFunctions& driver_;
};

}  // namespace

bool restoreDriver(const record::Checkpoint& checkpoint, const DriverFunctions& driver, ComInfo* info,
                   std::string* error) {
    if (!Restorer(checkpoint, driver).run(info)) {
        *error =
            "the driver could not be brought to the state that the record begins with: it is another driver, or the "
            "record is damaged";
        return false;
    }
    return true;
}

}  // namespace ac500::host
