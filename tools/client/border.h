// What every function of the C interfaces does at the border: exceptions become results, records go out as far as the caller
// knows them.
#ifndef AC500_TOOLS_CLIENT_BORDER_H
#define AC500_TOOLS_CLIENT_BORDER_H

#include <cxxabi.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <system_error>

#include "tools/client/last_error.h"
#include "tools/client/result.h"

namespace ac500::client {

// The code of what `work` came to; its text becomes the last error. Nothing but the end of a thread passes.
template <typename Work>
ac500_result guarded(Work work) {
    try {
        const Result result = work();
        if (!result.isOk()) {
            setLastError(result.text);
        }
        return result.code;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const std::bad_alloc&) {
        setLastError("there is no memory left");
        return AC500_MEMORY;
    } catch (const std::system_error& error) {
        setLastError(error.what());
        return AC500_MEMORY;  // what the system has no more of: threads, descriptors
    } catch (const std::exception& error) {
        setLastError(error.what());
    } catch (...) {
        setLastError("an exception of an unknown type");
    }
    return AC500_INTERNAL;
}

inline Result nullPointer(const char* what) {
    return usage(fmt::format("{} may not be null", what));
}

inline Result wrongHandle(const char* kind) {
    return usage(fmt::format("this is no {}: it was freed or closed, is of another kind, or never was one", kind));
}

// How many bytes the record had in the first version of the library that had it; what came later stands behind them.
template <typename Record>
constexpr std::size_t kFirstSize = sizeof(Record);

// `size`: of the record as the caller knows it, who may know less of it.
template <typename Record>
Result giveRecord(Record record, Record* to, std::size_t size) {
    if (to == nullptr) {
        return nullPointer("the record");
    }
    if (size < kFirstSize<Record>) {
        return usage(fmt::format("the record has {} bytes, not {}: no version of this library had such a one",
                                 sizeof(Record), size));
    }
    record.struct_size = std::min(size, sizeof(Record));
    std::memcpy(to, &record, record.struct_size);
    return {};
}

// With its terminator, or not at all.
inline Result copyText(const char* text, char* buffer, std::size_t size) {
    const std::size_t needed = std::strlen(text) + 1;
    if (needed > size) {
        return usage(fmt::format("the buffer has {} bytes, and {} are needed", size, needed));
    }
    std::memcpy(buffer, text, needed);
    return {};
}

}  // namespace ac500::client

#endif
