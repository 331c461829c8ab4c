// The driver's records as bytes of a record, and back: the parts that events and checkpoints are made of.
#ifndef AC500_TOOLS_RECORD_RECORD_CODEC_H
#define AC500_TOOLS_RECORD_RECORD_CODEC_H

#include <string>
#include <vector>

#include "tools/record/byte_stream.h"
#include "tools/record/event.h"

namespace ac500::record {

void put(std::string& to, const VarRecord& var);
void put(std::string& to, const FrameRecord& frame);
void put(std::string& to, const TagRecord& tag);
void put(std::string& to, const std::vector<LabelRecord>& labels);
void put(std::string& to, const RunInfo& run);
// Without its symbols, of which only the number is put: they stand in chunks of their own.
void put(std::string& to, const Checkpoint& checkpoint);

template <std::size_t count>
void putWords(std::string& to, const std::array<std::int32_t, count>& words) {
    putSignedRow(to, words);
}

// What the source does not hold fails it.
VarRecord getVar(ByteSource& from);
FrameRecord getFrame(ByteSource& from);
TagRecord getTag(ByteSource& from);
std::vector<LabelRecord> getLabels(ByteSource& from);
RunInfo getRun(ByteSource& from);
// *symbolLists: how many lists of symbols it takes.
Checkpoint getCheckpoint(ByteSource& from, std::size_t* symbolLists);

template <std::size_t count>
std::array<std::int32_t, count> getWords(ByteSource& from) {
    std::array<std::int32_t, count> words{};
    for (std::int32_t& word : words) {
        word = from.i32();
    }
    return words;
}

}  // namespace ac500::record

#endif
