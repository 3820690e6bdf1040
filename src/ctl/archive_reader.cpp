// SPDX-License-Identifier: Apache-2.0
// archive_reader.cpp -- see archive_reader.h.
#include "ctl/archive_reader.h"

#include "archive/archive_file.h"
#include "ctl/options.h"

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <jansson.h>
#include <memory>
#include <string.h>
#include <unistd.h>

namespace
{

struct JsonDeleter {
    void operator()(json_t *json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonDeleter>;

// The archive's files in their order.
int ListFiles(int directory, std::vector<std::string> *names)
{
    const int fd = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    DIR *list = fdopendir(fd);
    if (list == nullptr) {
        const int error = errno;
        close(fd);
        return error;
    }
    while (const dirent *entry = readdir(list)) {
        if (ArchiveFileNumber(entry->d_name))
            names->push_back(entry->d_name);
    }
    closedir(list);
    std::sort(names->begin(), names->end());
    return 0;
}

int ReadWhole(int directory, const std::string &name, std::string *text)
{
    const int fd = openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT ? 0 : errno;
    char part[65536];
    ssize_t got = 0;
    while ((got = read(fd, part, sizeof part)) > 0 || (got < 0 && errno == EINTR))
        text->append(part, static_cast<size_t>(std::max<ssize_t>(got, 0)));
    const int error = got < 0 ? errno : 0;
    close(fd);
    return error;
}

void TakeLine(const std::string &line, ArchiveContent *content)
{
    LogMark mark = 0;
    ArchiveRecord record;
    const ArchiveLineKind kind = ArchiveLineKindOf(line, &mark);
    if (kind == ArchiveLineKind::Cleared)
        content->marks.clear();
    if (kind != ArchiveLineKind::Record || !ArchiveParseRecord(line, &record))
        return;
    content->records.push_back(record);
    content->marks.push_back(mark);
}

}  // namespace

bool ArchiveParseRecord(const std::string &line, ArchiveRecord *record)
{
    const Json json(json_loadb(line.data(), line.size(), JSON_REJECT_DUPLICATES, nullptr));
    const json_t *number = json_object_get(json.get(), "record");
    const json_t *time = json_object_get(json.get(), "time");
    const json_t *boot = json_object_get(json.get(), "boot");
    const json_t *description = json_object_get(json.get(), "description");
    if (!json_is_integer(number) || !json_is_boolean(boot) || !json_is_string(description) ||
        json_integer_value(number) < 0 || json_integer_value(number) > UINT32_MAX)
        return false;
    *record = {};
    if (json_is_string(time))
        record->time = OptionsTime(json_string_value(time), 0);
    if (json_is_null(time) == record->time.has_value())
        return false;
    record->number = static_cast<u32>(json_integer_value(number));
    record->boot = json_is_true(boot);
    record->description = json_string_value(description);
    return true;
}

int ArchiveRead(const std::string &directory, ArchiveContent *content)
{
    *content = {};
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    std::vector<std::string> names;
    int error = ListFiles(fd, &names);
    for (size_t i = 0; i < names.size() && error == 0; ++i) {
        std::string text;
        error = ReadWhole(fd, names[i], &text);
        size_t begin = 0;
        for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
            TakeLine(text.substr(begin, end - begin), content);
            begin = end + 1;
        }
    }
    close(fd);
    return error;
}
