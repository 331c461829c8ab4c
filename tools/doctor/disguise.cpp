#include "tools/doctor/disguise.h"

#include <algorithm>

#include "tools/text/text.h"

namespace ac500::doctor {

namespace {

constexpr char kAddressKind[] = "address";
constexpr int kAddressParts = 4;
constexpr int kAddressPartDigits = 3;

bool isDigit(char c) {
    return '0' <= c && c <= '9';
}

// Letters beyond ASCII are bytes of UTF-8 from 0x80 on.
bool isWordCharacter(char c) {
    const bool isLetter = ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z');
    return isLetter || isDigit(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool isWordAt(const std::string& text, std::size_t at) {
    return at < text.size() && isWordCharacter(text[at]);
}

// Does no word go on across this place?
bool isBorder(const std::string& text, std::size_t at) {
    return at == 0 || !isWordAt(text, at) || !isWordCharacter(text[at - 1]);
}

}  // namespace

void Disguise::learn(const std::string& kind, const std::string& original) {
    if (original.empty()) {
        return;
    }
    const std::string key = text::lowerCase(original);
    if (!entries_.emplace(key, Entry{kind, original, ""}).second) {
        return;
    }
    std::vector<std::size_t>& lengths = lengths_[key.front()];
    const auto place = std::lower_bound(lengths.begin(), lengths.end(), key.size(), std::greater<>());
    if (place == lengths.end() || *place != key.size()) {
        lengths.insert(place, key.size());
    }
}

void Disguise::learnWords(const std::string& kind, const std::string& text) {
    std::string word;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        if (isWordAt(text, at)) {
            word += text[at];
            continue;
        }
        if (!std::all_of(word.begin(), word.end(), isDigit)) {
            learn(kind, word);
        }
        word.clear();
    }
}

std::string Disguise::apply(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = 0;
        Entry* entry = isBorder(text, at) ? find(text, at, &length) : nullptr;
        if (entry == nullptr && isBorder(text, at)) {
            length = addressAt(text, at);
            if (length > 0) {
                learn(kAddressKind, text.substr(at, length));
                entry = find(text, at, &length);
            }
        }
        if (entry == nullptr) {
            result += text[at];
            ++at;
        } else {
            result += replacementOf(*entry);
            at += length;
        }
    }
    return result;
}

std::vector<std::pair<std::string, std::string>> Disguise::pairs() const {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const auto& [key, entry] : entries_) {
        if (!entry.replacement.empty()) {
            pairs.emplace_back(entry.original, entry.replacement);
        }
    }
    return pairs;
}

Disguise::Entry* Disguise::find(const std::string& text, std::size_t at, std::size_t* length) {
    const auto lengths = lengths_.find(text::lowerCase(text[at]));
    if (lengths == lengths_.end()) {
        return nullptr;
    }
    for (const std::size_t one : lengths->second) {
        if (one > text.size() - at || !isBorder(text, at + one)) {
            continue;
        }
        const auto found = entries_.find(text::lowerCase(text.substr(at, one)));
        if (found != entries_.end()) {
            *length = one;
            return &found->second;
        }
    }
    return nullptr;
}

// Made when it is needed: the first originals of a text get the first numbers, and what is never told has none.
const std::string& Disguise::replacementOf(Entry& entry) {
    while (entry.replacement.empty()) {
        const std::string name = entry.kind + std::to_string(++counts_[entry.kind]);
        if (entries_.count(name) == 0) {
            entry.replacement = name;
        }
    }
    return entry.replacement;
}

// How many characters of an IPv4 address stand there; 0 for none.
std::size_t Disguise::addressAt(const std::string& text, std::size_t at) const {
    std::size_t end = at;
    for (int part = 0; part < kAddressParts; ++part) {
        if (part > 0) {
            if (end >= text.size() || text[end] != '.') {
                return 0;
            }
            ++end;
        }
        const std::size_t begin = end;
        while (end < text.size() && isDigit(text[end])) {
            ++end;
        }
        if (end == begin || end - begin > kAddressPartDigits || std::stoi(text.substr(begin, end - begin)) > 255) {
            return 0;
        }
    }
    return isBorder(text, end) ? end - at : 0;
}

}  // namespace ac500::doctor
