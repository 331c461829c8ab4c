#include "tools/gateway/broker_tags.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace ac500::gateway {

namespace {

std::vector<std::string> namesOf(const Plant& plant) {
    std::vector<std::string> names;
    std::transform(plant.tags().begin(), plant.tags().end(), std::back_inserter(names),
                   [](const PlantTag& tag) { return tag.name; });
    return names;
}

// Of all tags of the plant: the last rule that names a tag holds.
std::vector<broker::ReportTerms> termsOfAll(const broker::BrokerSettings& settings,
                                            const std::vector<std::string>& names, std::vector<std::string>* problems) {
    std::vector<broker::ReportTerms> terms(names.size());
    for (const broker::ReportRule& rule : settings.report) {
        for (const std::size_t tag : broker::chosenTags(rule.tags, names, "broker.report", problems)) {
            terms[tag] = rule.terms;
        }
    }
    return terms;
}

}  // namespace

std::optional<BrokerTags> brokerTags(const Plant& plant, const broker::BrokerSettings& settings,
                                     host::Failure* failure) {
    const std::vector<std::string> names = namesOf(plant);
    std::vector<std::string> problems;
    BrokerTags tags;
    const std::vector<std::string> all = {"**"};
    tags.numbers = broker::chosenTags(settings.tags.empty() ? all : settings.tags, names, "broker.tags", &problems);
    const std::vector<broker::ReportTerms> terms = termsOfAll(settings, names, &problems);
    std::transform(tags.numbers.begin(), tags.numbers.end(), std::back_inserter(tags.terms),
                   [&](std::size_t number) { return terms[number]; });
    tags.writable = broker::chosenTags(settings.commandTags, names, "broker.commands.tags", &problems);
    for (const std::size_t number : tags.writable) {
        if (!plant.tags()[number].isWritable) {
            problems.push_back(fmt::format(
                "broker.commands.tags: {} is not writable here; name it in \"write.tags\", too, or remove it",
                names[number]));
        }
    }
    if (!problems.empty()) {
        *failure = {host::FailureKind::Name, fmt::format("{}", fmt::join(problems, "\n"))};
        return std::nullopt;
    }
    return tags;
}

std::vector<broker::ReportFilter::FilteredTag> filteredTags(const Plant& plant, const BrokerTags& tags) {
    std::vector<broker::ReportFilter::FilteredTag> filtered;
    for (std::size_t i = 0; i < tags.numbers.size(); ++i) {
        filtered.push_back({plant.tags()[tags.numbers[i]].tag, tags.terms[i]});
    }
    return filtered;
}

std::vector<broker::MessageFormat::FormattedTag> formattedTags(const Plant& plant, const BrokerTags& tags) {
    std::vector<broker::MessageFormat::FormattedTag> formatted;
    for (const std::size_t number : tags.numbers) {
        const PlantTag& tag = plant.tags()[number];
        formatted.push_back({tag.tag, tag.name, tag.scope});
    }
    return formatted;
}

std::vector<broker::CommandDesk::DeskTag> deskTags(const Plant& plant, const BrokerTags& tags) {
    std::vector<broker::CommandDesk::DeskTag> desk;
    for (std::size_t number = 0; number < plant.tags().size(); ++number) {
        const PlantTag& tag = plant.tags()[number];
        const bool isAllowed = std::binary_search(tags.writable.begin(), tags.writable.end(), number);
        desk.push_back({tag.tag, tag.name, number, isAllowed});
    }
    return desk;
}

}  // namespace ac500::gateway
