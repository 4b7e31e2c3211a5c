#include "kalim/batch/Journal.h"

#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "base/Text.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <span>
#include <sstream>

namespace kalim::program
{
namespace
{

constexpr const char* journalName = ".kalim-journal.jsonl";

/// Another for every output. A name need not be UTF-8, which JSON is.
std::string keyOf(const BatchItem& item)
{
    const std::string name = resolvedTarget(item.output).native();
    return validUtf8(name) == name
               ? name
               : fmt::format("{:02x}", fmt::join(std::as_bytes(std::span(name)), ""));
}

template <typename Value>
bool hasValue(const Journal::Row& row, const char* key, const Value& value)
{
    const auto found = row.find(key);
    return found != row.end() && *found == value;
}

} // namespace

Journal::Journal(const std::filesystem::path& name)
    : path(name)
{
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    std::error_code failed;
    std::filesystem::create_directories(folder, failed);
    file = FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
    if (!file.isOpen())
        throw FileError(folder, errno);
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        throw FileError(folder, "another run is at work in this folder");
    read();
}

void Journal::read()
{
    const auto bytes = readBytesAt(file.get(), 0, fileSizeOf(file.get()));
    std::istringstream lines{std::string(asText(bytes))};
    for (std::string line; std::getline(lines, line);)
    {
        Row row = Row::parse(line, nullptr, false);
        if (!row.is_object() || !row.contains("key") || !row["key"].is_string())
            continue;
        const std::string key = row["key"];
        rows.insert_or_assign(key, std::move(row));
    }
    // Where the last line was cut off, the next one must not go on with it.
    if (!bytes.empty() && bytes.back() != std::byte{'\n'})
        static_cast<void>(writeBytes(file.get(), std::as_bytes(std::span("\n", 1))));
}

std::filesystem::path Journal::nameIn(const std::filesystem::path& folder)
{
    return folder / journalName;
}

const Journal::Row* Journal::find(const BatchItem& item) const
{
    const auto found = rows.find(keyOf(item));
    return found == rows.end() ? nullptr : &found->second;
}

const Journal::Row* Journal::findFinished(const BatchItem& item, const std::string& settings) const
{
    const Row* const row = find(item);
    std::error_code failed;
    const bool isFinished =
        row != nullptr && hasValue(*row, "status", "done") && hasValue(*row, "size", item.size) &&
        hasValue(*row, "modified", item.modified) && hasValue(*row, "settings", settings) &&
        hasValue(*row, "outputSize", std::filesystem::file_size(item.output, failed)) && !failed;
    return isFinished ? row : nullptr;
}

void Journal::add(const BatchItem& item, Row row)
{
    row["key"] = keyOf(item);
    const std::string line = row.dump(-1, ' ', false, Row::error_handler_t::replace) + "\n";
    if (const int error = writeBytes(file.get(), std::as_bytes(std::span(line))))
        throw FileError(path, error);
    rows.insert_or_assign(keyOf(item), std::move(row));
}

} // namespace kalim::program
