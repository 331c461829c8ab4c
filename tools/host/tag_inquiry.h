// TagInquiry finds out about the entries of a list of tags, one by one, what the driver and the symbol file have to say:
// which tags an entry stands for, and what is wrong with it. Used by one thread.
#ifndef AC500_TOOLS_HOST_TAG_INQUIRY_H
#define AC500_TOOLS_HOST_TAG_INQUIRY_H

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "tools/desk/tag_check.h"
#include "tools/host/offline_driver.h"
#include "tools/host/tag.h"
#include "tools/selection/choice.h"

namespace ac500::host {

// A tag that the driver transfers as the list has it.
struct GoodTag {
    Tag tag;
    desk::Place place;
    bool isNamed = true;  // false: the list has a pattern, or an array of several dimensions, which stands for it
};

enum class TagUse { Read, Write };

class TagInquiry {
public:
    // An entry may stand for `mostTags` tags. The table and the driver must outlive this.
    TagInquiry(const TagTable& tags, OfflineDriver& driver, int mostTags)
        : tags_(tags), driver_(driver), mostTags_(mostTags) {}

    // Adds the entry's tags to *good, and what is wrong to *findings. Returns how many tags the entry stands for, right or
    // wrong; more than mostTags, and nothing is added, when they are too many.
    int ask(const selection::Entry& entry, TagUse use, std::vector<GoodTag>* good,
            std::vector<desk::Finding>* findings);

private:
    struct Question {
        const selection::Entry& entry;
        TagUse use;
        bool isNamed;
    };

    void askTag(const std::string& text, const Question& question, std::vector<GoodTag>* good,
                std::vector<desk::Finding>* findings);
    std::optional<desk::Finding> problemOf(const Tag& tag, const desk::Finding& frame);
    static std::optional<HostValues> checkValue(const Tag& tag, const std::string& text, desk::Finding finding,
                                                std::vector<desk::Finding>* findings);
    desk::Finding wrongName(const std::string& text, const std::string& reason, desk::Finding finding);
    std::string explanation(const std::string& text, const std::string& reason);
    bool isStructure(const std::string& text);
    std::string whatLiesAt(const ControlInformationM& info);

    const TagTable& tags_;
    OfflineDriver& driver_;
    const int mostTags_;
    // Made when they are first needed
    std::optional<std::unordered_set<std::string>> structures_;
    std::vector<const Leaf*> leavesByAddress_;

    int explained_ = 0;
};

}  // namespace ac500::host

#endif
