#include "tests/reference/planning.h"

#include <algorithm>
#include <utility>

namespace reference {

namespace {

bool extentOfCount(const Place& place, std::int64_t n, Extent* extent) {
    const int code = place.dataType;
    extent->dataType = code;
    extent->offset = place.address;
    switch (code) {
        case 1:
        case 2:
        case 14:
        case 15:
            extent->bytes = wrapped(n);
            return true;
        case 3:
        case 4:
        case 10:
        case 11:
        case 16:
            extent->bytes = wrapped(2 * n);
            return true;
        case 5:
        case 6:
        case 7:
        case 17:
            extent->bytes = wrapped((n + 1) / 2 * 4);
            return true;
        case 8:
        case 9:
        case 18:
        case 21:
            extent->bytes = wrapped((n + 3) / 4 * 8);
            return true;
        case 13: {
            const std::int64_t bit = place.address;
            extent->dataType = 16;
            extent->offset = wrapped(bit / 16 * 2);
            extent->bytes = wrapped((n + bit % 16 + 15) / 16 * 2);
            return true;
        }
        default:
            return false;
    }
}

}  // namespace

bool readExtent(const Place& place, std::int32_t wanted, Extent* extent) {
    const int code = place.dataType;
    std::int64_t n = 0;
    if (place.isArray != 0) {
        n = std::min(wanted, place.arrayCount);
    } else if (code == 10 || code == 11) {
        n = wanted;
    } else {
        n = 1;
    }
    extent->nothingAsked = n < 0;
    const bool served = extentOfCount(place, n, extent);
    if (n < 0) {
        extent->bytes = 0;
    }
    return served;
}

void sortByOffset(std::vector<Variable>* list) {
    const int n = static_cast<int>(list->size());
    for (int pass = 1; pass < n; ++pass) {
        for (int j = n - 1; j >= pass; --j) {
            Variable& later = (*list)[static_cast<std::size_t>(j)];
            Variable& earlier = (*list)[static_cast<std::size_t>(j) - 1];
            if (later.offset < earlier.offset) {
                std::swap(later, earlier);
            }
        }
    }
}

namespace {

void mergeWithoutLimit(const std::vector<Variable>& sorted, std::vector<Variable>* requests) {
    std::int32_t largest = 0;
    for (std::size_t k = 0; k < sorted.size(); ++k) {
        if (k == 0 || sorted[k].offset != sorted[k - 1].offset) {
            requests->push_back(sorted[k]);
            largest = sorted[k].size;
        } else if (sorted[k].size > largest) {
            requests->back().size = sorted[k].size;
            largest = sorted[k].size;
        }
    }
}

}  // namespace

void mergeArea(std::vector<Variable>* sorted, std::int32_t maxBytes, std::vector<Variable>* requests) {
    if (maxBytes < 1) {
        return;
    }
    if (maxBytes == 1) {
        mergeWithoutLimit(*sorted, requests);
        return;
    }
    // The group is the last request of the list, unless that is one of another area.
    bool groupOpen = false;
    std::int64_t groupStart = 0;
    std::int64_t groupLength = 0;
    for (Variable& entry : *sorted) {
        if (groupOpen && entry.offset < groupStart + maxBytes) {
            const std::int64_t end = std::int64_t{entry.offset} + entry.size;
            if (groupStart + groupLength < end) {
                std::int64_t total = end - groupStart;
                Variable next = requests->back();
                bool first = true;
                while (total > 0) {
                    const std::int64_t piece = std::min<std::int64_t>(total, maxBytes);
                    if (first) {
                        requests->back().size = wrapped(piece);
                    } else {
                        next.size = wrapped(piece);
                        requests->push_back(next);
                    }
                    first = false;
                    total -= piece;
                    next.offset = wrapped(next.offset + piece);
                }
            }
        } else {
            std::int64_t remaining = entry.size;
            while (remaining > 0) {
                const std::int64_t piece = std::min<std::int64_t>(remaining, maxBytes);
                entry.size = wrapped(piece);
                requests->push_back(entry);
                remaining -= piece;
                entry.offset = wrapped(entry.offset + piece);
            }
        }
        groupOpen = !requests->empty() && requests->back().area == entry.area;
        if (groupOpen) {
            groupStart = requests->back().offset;
            groupLength = requests->back().size;
        }
    }
}

void cutIntoPieces(std::int32_t total, std::int32_t maxBytes, Variable* variable, std::vector<Variable>* requests) {
    if (total <= maxBytes) {
        requests->push_back(*variable);
        return;
    }
    if (maxBytes <= 0) {
        return;
    }
    const std::int32_t start = variable->offset;
    const std::int32_t rest = total % maxBytes;
    const std::int32_t pieces = total / maxBytes + (rest != 0 ? 1 : 0);
    for (std::int32_t i = 0; i < pieces; ++i) {
        variable->offset = wrapped(start + std::int64_t{i} * maxBytes);
        variable->size = i == pieces - 1 && rest != 0 ? rest : maxBytes;
        requests->push_back(*variable);
    }
}

}  // namespace reference
