// SPDX-License-Identifier: Apache-2.0
// fuzz_session_file.cpp -- any bytes as the file of a session, as another member of the registry
// may write it.
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "session/registry.h"

// A registry with one file, 77, made once; in memory, since a disk is slow.
static const char *Directory()
{
    static char directory[] = "/dev/shm/fuzz_session_file.XXXXXX";
    static const bool made =
        mkdtemp(directory) != nullptr && atexit([] {
                                             unlink((std::string(directory) + "/77").c_str());
                                             rmdir(directory);
                                         }) == 0;
    if (!made)
        abort();
    return directory;
}

static int File()
{
    static const int file =
        open((std::string(Directory()) + "/77").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    return file;
}

static void CheckText(const char *text, size_t size, bool printable)
{
    if (memchr(text, '\0', size) == nullptr)
        abort();
    for (; *text != '\0'; ++text)
        if (static_cast<unsigned char>(*text) < ' ' || *text == '\x7f' ||
            (printable && static_cast<unsigned char>(*text) > '~'))
            abort();
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    if (ftruncate(File(), 0) != 0 || pwrite(File(), data, size, 0) != static_cast<ssize_t>(size))
        abort();
    RegistryEntry entry;
    const u32 result = RegistryFind(Directory(), 77, RegistryWhose::Anyone, &entry);
    if (result == kRegistryMalformed)
        return 0;
    if (result != kRegistryOk || size > kRegistryFileMax || entry.live)
        abort();
    CheckText(entry.record.user, sizeof(entry.record.user), false);
    CheckText(entry.record.addressText, sizeof(entry.record.addressText), true);
    if (entry.record.user[0] == '\0')
        abort();
    // The address's two forms agree.
    RegistryRecord again = {};
    const char *text = entry.record.addressText;
    if (text[0] == '\0'
            ? entry.record.address != 0
            : !RegistryParseAddress(text, &again) || again.address != entry.record.address)
        abort();
    RegistryRelease(&entry);
    return 0;
}
