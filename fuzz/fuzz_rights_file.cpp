// SPDX-License-Identifier: Apache-2.0
// fuzz_rights_file.cpp -- any bytes as the file that says who may do what.
#include "objmgrd/rights.h"

#include <stdlib.h>

namespace
{

// Every name is known, so that each line counts.
bool Known(const std::string &name, u32 *id)
{
    *id = 1000 + static_cast<u32>(name.size());
    return name != "nobody";
}

constexpr RightsNames kNames = {Known, Known};

u32 Of(const Rights &rights, u32 uid, u32 gid)
{
    return rights.Of({.uid = uid, .gid = gid, .pid = 1, .groups = {gid}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    Rights rights;
    std::vector<FileNote> notes;
    const bool right = RightsParse(text, &rights, &notes, kNames);
    bool fault = false;
    for (const FileNote &note : notes) {
        fault = fault || !note.warning;
        if (note.text.empty() || note.line == 0)
            abort();
    }
    if (right == fault)
        abort();
    for (u32 id : {1000u, 1004u, 1005u, 4294967294u, kOverflowId}) {
        const u32 bits = Of(rights, id, id);
        // Whoever has a right may log in, and what is wrong changes nothing.
        if ((bits & ~kPrivilegeAll) != 0 || (bits != 0 && (bits & kPrivilegeLogin) == 0))
            abort();
        if (!right && bits != (id == kOverflowId ? 0 : kPrivilegeLogin))
            abort();
    }
    if (Of(rights, kOverflowId, kOverflowId) != 0 || Of(rights, 0, 1) != kPrivilegeAll)
        abort();
    return 0;
}
