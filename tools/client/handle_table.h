// HandleTable gives out the handles of one kind of object and finds the object again. A handle is a number, however the C
// interface calls it: nothing is ever read where it seems to point to. So a handle that is wrong, of another kind, or freed
// already is found in no table. All functions may be called from any thread.
//
// A table that is locked while the process forks can be used in the child: no thread that is not there holds it.
#ifndef AC500_TOOLS_CLIENT_HANDLE_TABLE_H
#define AC500_TOOLS_CLIENT_HANDLE_TABLE_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace ac500::client {

// The numbers of all kinds come from one row, so that no two handles are equal. It begins again after some four thousand
// million handles on a 32-bit machine: handles that are still in use then are passed over by their own table.
inline std::uintptr_t nextHandleNumber() {
    static std::atomic<std::uintptr_t> last{0};
    return last.fetch_add(1) + 1;
}

template <typename Handle, typename Object>
class HandleTable {
public:
    Handle* add(std::shared_ptr<Object> object) {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::uintptr_t number = 0;
        while (number == 0 || objects_.count(number) != 0) {
            number = nextHandleNumber();
        }
        objects_.emplace(number, std::move(object));
        return reinterpret_cast<Handle*>(number);
    }

    // Around a fork(), by the thread that forks: nobody else is in the table meanwhile.
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

    // Null for what is none of its handles.
    std::shared_ptr<Object> find(const Handle* handle) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
        return found == objects_.end() ? nullptr : found->second;
    }

    // The same, and the handle is none any more.
    std::shared_ptr<Object> remove(const Handle* handle) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
        if (found == objects_.end()) {
            return nullptr;
        }
        std::shared_ptr<Object> object = std::move(found->second);
        objects_.erase(found);
        return object;
    }

private:
    mutable std::mutex mutex_;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> objects_;  // mutex_
};

}  // namespace ac500::client

#endif
