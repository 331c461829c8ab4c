#include "tools/record/record_codec.h"

namespace ac500::record {

namespace {

// Structures within structures; a symbol file has a handful.
constexpr int kDeepestLabels = 64;

void putLabel(std::string& to, const LabelRecord& label) {
    putText(to, label.name);
    putNumber(to, label.type);
    putSigned(to, label.offset);
    putSigned(to, label.dimensions);
    putNumber(to, label.memberCount);
    putNumber(to, label.arrayBounds.size());
    for (const std::int32_t bound : label.arrayBounds) {
        putSigned(to, bound);
    }
    put(to, label.members);
    put(to, label.elementType);
    putText(to, label.typeName);
    putSigned(to, label.extra1);
    putSigned(to, label.extra2);
    putNumber(to, label.areaList.size());
    for (const std::int32_t area : label.areaList) {
        putSigned(to, area);
    }
    putNumber(to, label.textList.size());
    for (const Text& text : label.textList) {
        putText(to, text);
    }
}

std::vector<std::int32_t> getIntegers(ByteSource& from) {
    std::vector<std::int32_t> integers;
    const std::size_t count = from.count();
    for (std::size_t i = 0; i < count && !from.failed(); ++i) {
        integers.push_back(from.i32());
    }
    return integers;
}

// NOLINTNEXTLINE(misc-no-recursion): structures hold structures; the depth is bounded
std::vector<LabelRecord> getLabelsAtDepth(ByteSource& from, int depth) {
    std::vector<LabelRecord> labels;
    const std::size_t count = from.count();
    if (depth > kDeepestLabels) {
        from.fail();
    }
    for (std::size_t i = 0; i < count && !from.failed(); ++i) {
        LabelRecord label;
        label.name = from.text();
        label.type = static_cast<std::uint16_t>(from.numberUpTo(0xFFFF));
        label.offset = from.i32();
        label.dimensions = from.i32();
        label.memberCount = from.u32();
        label.arrayBounds = getIntegers(from);
        label.members = getLabelsAtDepth(from, depth + 1);
        label.elementType = getLabelsAtDepth(from, depth + 1);
        label.typeName = from.text();
        label.extra1 = from.i32();
        label.extra2 = from.i32();
        label.areaList = getIntegers(from);
        const std::size_t texts = from.count();
        for (std::size_t j = 0; j < texts && !from.failed(); ++j) {
            label.textList.push_back(from.text());
        }
        labels.push_back(std::move(label));
    }
    return labels;
}

enum CheckpointFlag : unsigned { kHasCallbacks = 1, kIsConnected = 2, kHasFailed = 4 };

}  // namespace

void put(std::string& to, const VarRecord& var) {
    putSignedRow<6>(to, {var.hostId, var.hostSubId, var.writeFlag, var.aux3, var.aux4, var.status});
    putText(to, var.labelName);
    putText(to, var.labelArg);
    putSignedRow<6>(to, {var.dataType, var.offset, var.comWord, var.size, var.resolveResult, var.area});
    putBytes(to, var.data);
}

VarRecord getVar(ByteSource& from) {
    VarRecord var;
    var.hostId = from.i32();
    var.hostSubId = from.i32();
    var.writeFlag = from.i32();
    var.aux3 = from.i32();
    var.aux4 = from.i32();
    var.status = from.i32();
    var.labelName = from.text();
    var.labelArg = from.text();
    var.dataType = from.i32();
    var.offset = from.i32();
    var.comWord = from.i32();
    var.size = from.i32();
    var.resolveResult = from.i32();
    var.area = from.i32();
    var.data = from.bytes();
    return var;
}

void put(std::string& to, const FrameRecord& frame) {
    putBytes(to, frame.frame);
    putSignedRow<4>(to, {frame.frameLength, frame.replyLength, frame.replyDataOffset, frame.minReplyLength});
    put(to, frame.var);
    putWords(to, frame.reserved);
}

FrameRecord getFrame(ByteSource& from) {
    FrameRecord frame;
    frame.frame = from.bytes();
    frame.frameLength = from.i32();
    frame.replyLength = from.i32();
    frame.replyDataOffset = from.i32();
    frame.minReplyLength = from.i32();
    frame.var = getVar(from);
    frame.reserved = getWords<3>(from);
    return frame;
}

void put(std::string& to, const TagRecord& tag) {
    putSigned(to, tag.hostWord0);
    putSigned(to, tag.hostWord1);
    putText(to, tag.argument);
    putText(to, tag.tagName);
    putSigned(to, tag.count);
}

TagRecord getTag(ByteSource& from) {
    TagRecord tag;
    tag.hostWord0 = from.i32();
    tag.hostWord1 = from.i32();
    tag.argument = from.text();
    tag.tagName = from.text();
    tag.count = from.i32();
    return tag;
}

// NOLINTNEXTLINE(misc-no-recursion): structures hold structures
void put(std::string& to, const std::vector<LabelRecord>& labels) {
    putNumber(to, labels.size());
    for (const LabelRecord& label : labels) {
        putLabel(to, label);
    }
}

std::vector<LabelRecord> getLabels(ByteSource& from) {
    return getLabelsAtDepth(from, 0);
}

void put(std::string& to, const RunInfo& run) {
    putFixed(to, run.runId);
    for (const std::string* text : {&run.program, &run.driver, &run.driverBuild, &run.architecture, &run.qtVersion}) {
        putBytes(to, *text);
    }
    putNumber(to, run.settings.size());
    for (const auto& [name, value] : run.settings) {
        putBytes(to, name);
        putBytes(to, value);
    }
}

RunInfo getRun(ByteSource& from) {
    RunInfo run;
    run.runId = from.fixed<std::uint64_t>();
    for (std::string* text : {&run.program, &run.driver, &run.driverBuild, &run.architecture, &run.qtVersion}) {
        *text = from.bytes();
    }
    const std::size_t settings = from.count();
    for (std::size_t i = 0; i < settings && !from.failed(); ++i) {
        std::string name(from.bytes());
        std::string value(from.bytes());
        run.settings.emplace_back(std::move(name), std::move(value));
    }
    return run;
}

void put(std::string& to, const Checkpoint& checkpoint) {
    putWords(to, checkpoint.settings);
    putU8(to, (checkpoint.hasCallbacks ? kHasCallbacks : 0U) | (checkpoint.isConnected ? kIsConnected : 0U) |
                  (checkpoint.hasFailed ? kHasFailed : 0U));
    for (const std::uint8_t byte : checkpoint.sessionBytes) {
        putU8(to, byte);
    }
    putNumber(to, checkpoint.symbols.size());
    putNumber(to, checkpoint.readList.size());
    for (const VarRecord& var : checkpoint.readList) {
        put(to, var);
    }
    putNumber(to, checkpoint.image.size());
    for (const ImageRun& run : checkpoint.image) {
        putSigned(to, run.area);
        putNumber(to, run.address);
        putBytes(to, run.bytes);
    }
}

Checkpoint getCheckpoint(ByteSource& from, std::size_t* symbolLists) {
    Checkpoint checkpoint;
    checkpoint.settings = getWords<kSettingsWords>(from);
    const unsigned flags = from.u8();
    checkpoint.hasCallbacks = (flags & kHasCallbacks) != 0;
    checkpoint.isConnected = (flags & kIsConnected) != 0;
    checkpoint.hasFailed = (flags & kHasFailed) != 0;
    for (std::uint8_t& byte : checkpoint.sessionBytes) {
        byte = static_cast<std::uint8_t>(from.u8());
    }
    *symbolLists = static_cast<std::size_t>(from.numberUpTo(0xFFFFFFFFU));
    const std::size_t vars = from.count();
    for (std::size_t i = 0; i < vars && !from.failed(); ++i) {
        checkpoint.readList.push_back(getVar(from));
    }
    const std::size_t runs = from.count();
    for (std::size_t i = 0; i < runs && !from.failed(); ++i) {
        ImageRun run;
        run.area = from.i32();
        run.address = from.u32();
        run.bytes = from.bytes();
        checkpoint.image.push_back(std::move(run));
    }
    return checkpoint;
}

}  // namespace ac500::record
