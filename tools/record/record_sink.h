// Where a record is kept on disk: a file of the whole run, or a ring of files. Not thread-safe. A disk that takes nothing any
// more ends a sink for good; the caller is told once and goes on.
#ifndef AC500_TOOLS_RECORD_RECORD_SINK_H
#define AC500_TOOLS_RECORD_RECORD_SINK_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/record/piece.h"

namespace ac500::record {

// A ring has at most so many files: PATH, and PATH.1 to PATH.15.
constexpr int kMostRingFiles = 16;

// One file of a record. Whoever has the file open sees whole chunks only when it was flushed to disk; what was written
// survives the end of the program, however it ends, and a loss of power from sync() on.
class RecordFile {
public:
    RecordFile() = default;
    ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    // All return what is wrong, in words with the name of the file; an empty text when nothing is.

    // Replaces a record that is there, and refuses a file that has anything else in it, or that another program has open for
    // its record.
    std::string open(const std::string& path);
    // The same for who has the turn in the folder, as a ring has between two parts.
    std::string openInTurn(const std::string& path);
    // A new file in the folder of `path`, with a name that begins like it and that nobody has.
    std::string openBeside(const std::string& path);
    // The first piece of a file begins a segment; what must stand before it is written, too.
    std::string write(const Piece& piece, const Preamble& preamble);
    std::string writeBytes(const std::string& bytes);
    std::string sync();
    std::string close();

    bool isOpen() const { return descriptor_ >= 0; }
    const std::string& path() const { return path_; }
    std::size_t bytes() const { return bytes_; }

private:
    void begin();
    std::string complaint(const std::string& what) const;

    int descriptor_ = -1;
    std::string path_;
    std::size_t bytes_ = 0;
    std::size_t symbolLists_ = 0;
};

// A ring on disk: PATH, to which is written, and PATH.1, PATH.2 and so on, which were before it, back to earlier runs; each is
// a record by itself. A part that is full is renamed, and the oldest are removed, between two segments. All of them together
// take no more than the given size, unless one segment alone is larger than a part; the last one before PATH stays in any case.
class DiskRing {
public:
    static constexpr int kParts = 4;  // of a run that fills the ring alone

    DiskRing(std::string path, std::size_t mostBytes)
        : path_(std::move(path)), mostBytes_(mostBytes), partBytes_(mostBytes / kParts) {}

    // Goes on behind the parts that are there. Refuses when one of these names has anything else than a record.
    std::string open();
    // `segmentBytes`: about how long the segment is going to be, when the piece begins one.
    std::string write(const Piece& piece, const Preamble& preamble, std::size_t segmentBytes);
    std::string sync() { return file_.sync(); }
    std::string close(const std::string& end);

private:
    // REQUIRES: the turn in the folder
    std::string openNext();
    // Makes PATH free: what has that name becomes PATH.1, and so on.
    std::string pushParts();
    void removeOldest();
    std::string partName(int part) const { return part == 0 ? path_ : path_ + "." + std::to_string(part); }

    const std::string path_;
    const std::size_t mostBytes_;
    const std::size_t partBytes_;
    RecordFile file_;
};

// How many names minutes are saved under: "plant.record", "plant-2.record" to "plant-100.record".
constexpr int kMostSaved = 100;

// Writes a whole record under the first of the names of `path` that nobody has, and replaces nothing. It appears under that
// name when all of it is on disk. Returns what is wrong, in words; else *name has the name.
std::string saveRecord(const std::string& path, const std::vector<Piece>& pieces, const Preamble& preamble,
                       const std::string& end, std::string* name);

}  // namespace ac500::record

#endif
