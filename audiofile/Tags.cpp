#include "audiofile/Tags.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>

namespace kalim
{
namespace
{

const std::vector<std::string>& valuesOf(const Tags::Fields& fields, const std::string& name)
{
    static const std::vector<std::string> none;
    const auto found = fields.find(name);
    return found == fields.end() ? none : found->second;
}

/// Parts of the fields for which others have no value that matches.
template <typename Matches>
Tags::Fields missingFields(const Tags::Fields& wanted, const Tags::Fields& present,
                           const Matches& matches)
{
    Tags::Fields missing;
    for (const auto& [name, values] : wanted)
    {
        auto others = valuesOf(present, name);
        for (const auto& value : values)
        {
            const auto found = std::ranges::find_if(others, [&](const std::string& other)
                                                    { return matches(other, value); });
            if (found == others.end())
                missing[name].push_back(value);
            else
                others.erase(found);
        }
    }
    return missing;
}

Tags::Fields fieldsNotIn(const Tags::Fields& written, const Tags::Fields& wanted)
{
    auto missing = missingFields(wanted, written, std::equal_to<>());
    // Where a container has no repeated values, all stand in one.
    std::erase_if(missing,
                  [&](const auto& field) {
                      return valuesOf(written, field.first) ==
                             std::vector{joined(valuesOf(wanted, field.first))};
                  });
    return missing;
}

bool isSame(const TagPicture& a, const TagPicture& b)
{
    return a.kind == b.kind && a.description == b.description && a.data == b.data;
}

/// Files are not trusted: a name may hold anything, and a message is one short line.
std::string shown(const std::string& name)
{
    constexpr std::size_t longest = 40;
    auto text = name.substr(0, longest);
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
    return text + (name.size() > longest ? "..." : "");
}

std::string listed(const std::vector<std::string>& names)
{
    constexpr std::ptrdiff_t most = 20;
    const auto count = std::ssize(names);
    std::vector<std::string> first(names.begin(), names.begin() + std::min(count, most));
    std::ranges::transform(first, first.begin(), shown);
    auto text = fmt::format("{}", fmt::join(first, ", "));
    return count > most ? text + fmt::format(" and {} more", count - most) : text;
}

std::vector<std::string> namesOf(const Tags::Fields& lost, const Tags::Fields& wanted)
{
    std::vector<std::string> names;
    for (const auto& [name, values] : lost)
    {
        const bool isPart = values.size() < valuesOf(wanted, name).size();
        names.push_back(isPart ? "a second " + name : name);
    }
    return names;
}

} // namespace

std::string joined(const std::vector<std::string>& values)
{
    return fmt::format("{}", fmt::join(values, "; "));
}

void Tags::add(const std::string& name, const std::string& value)
{
    if (!value.empty() && !name.empty())
        fields[name].push_back(value);
}

void Tags::addMissing(const Tags& other)
{
    const auto isBeginning = [](const std::string& known, const std::string& value)
    { return known.starts_with(value); };
    for (auto& [name, values] : missingFields(other.fields, fields, isBeginning))
        std::ranges::copy(values, std::back_inserter(fields[name]));
    std::ranges::copy(missingPictures(other.pictures, pictures), std::back_inserter(pictures));
    std::ranges::copy(other.id3Only, std::back_inserter(id3Only));
    if (id3.empty())
        id3 = other.id3;
}

std::vector<TagPicture> missingPictures(const std::vector<TagPicture>& wanted,
                                        const std::vector<TagPicture>& present)
{
    std::vector<TagPicture> missing;
    std::ranges::copy_if(wanted, std::back_inserter(missing),
                         [&](const TagPicture& picture)
                         {
                             return std::ranges::none_of(present, [&](const TagPicture& other)
                                                         { return isSame(picture, other); });
                         });
    return missing;
}

std::vector<std::string> lostTags(const Tags& wanted, const Tags& written)
{
    std::vector<std::string> phrases;
    if (const auto lost = missingPictures(wanted.pictures, written.pictures); !lost.empty())
        phrases.push_back(counted(std::ssize(lost), "picture"));
    const auto countBlocks = [&](int type, std::string_view thing)
    {
        const auto lost = std::ranges::count_if(
            wanted.flacBlocks,
            [&](const FlacBlock& block)
            {
                return block.type == type &&
                       std::ranges::find(written.flacBlocks, block) == written.flacBlocks.end();
            });
        if (lost > 0)
            phrases.push_back(counted(lost, thing));
    };
    countBlocks(FlacBlock::cueSheet, "cue sheet");
    countBlocks(FlacBlock::application, "application block");
    if (const auto lost = fieldsNotIn(written.fields, wanted.fields); !lost.empty())
        phrases.push_back("the tags " + listed(namesOf(lost, wanted.fields)));
    if (!wanted.id3Only.empty() && written.id3Only != wanted.id3Only)
        phrases.push_back("the ID3 frames " + listed(wanted.id3Only));
    return phrases;
}

} // namespace kalim
