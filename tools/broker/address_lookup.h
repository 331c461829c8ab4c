// AddressLookup asks for the addresses of a host's name without anybody having to wait: the question of a name server can
// take half a minute when the network is away. The question runs on a thread of its own, which outlives the object if it
// must. Used by one thread.
#ifndef AC500_TOOLS_BROKER_ADDRESS_LOOKUP_H
#define AC500_TOOLS_BROKER_ADDRESS_LOOKUP_H

#include <memory>
#include <string>
#include <vector>

namespace ac500::broker {

class AddressLookup {
public:
    struct Answer {
        std::vector<std::string> addresses;  // numeric, in the order in which they are to be tried
        std::string problem;                 // why there are none
    };

    explicit AddressLookup(const std::string& host);
    // Whoever asked need not wait for the answer.
    ~AddressLookup();
    AddressLookup(const AddressLookup&) = delete;
    AddressLookup& operator=(const AddressLookup&) = delete;

    // Can be read from when there is an answer; -1: there is one already.
    int descriptor() const;
    bool isDone() const;
    // REQUIRES: isDone()
    const Answer& answer() const;

private:
    struct Question;
    std::shared_ptr<Question> question_;
};

}  // namespace ac500::broker

#endif
