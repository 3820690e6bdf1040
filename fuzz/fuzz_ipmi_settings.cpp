// SPDX-License-Identifier: Apache-2.0
// fuzz_ipmi_settings.cpp -- any text as the settings of objmgrd-ipmi.
#include "objmgrd/ipmi/settings.h"
#include "objmgrd/packed_instance.h"

#include <stdlib.h>

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    // A copy of exactly this size, so that a byte read behind it is seen.
    const std::vector<char> text(data, data + size);
    IpmiSettings settings;
    std::vector<FileNote> notes;
    const bool right = IpmiSettingsParse(std::string_view(text.data(), size), &settings, &notes);
    if (right != notes.empty())
        abort();  // a fault without a word, or a word about nothing
    for (const FileNote &note : notes) {
        if (note.text.empty() || StoreSafeText(note.text) != note.text)
            abort();  // a note goes to a terminal
    }
    if (!right)
        return 0;
    const bool lan = settings.driver == IpmiDriver::Lan;
    if (lan && (settings.host.empty() || settings.port == 0 || settings.port > 65535 ||
                settings.answerMs >= settings.sessionMs))
        abort();
    for (u32 ms : {settings.sensorsMs, settings.temperaturesMs, settings.voltagesMs,
                   settings.currentsMs, settings.fansMs, settings.statesMs, settings.powerMs,
                   settings.logMs, settings.sdrMs, settings.methodMs}) {
        if (ms < 100)
            abort();
    }
    if (IpmiLostMs(settings) <= settings.sessionMs || IpmiBmcAddress(settings).empty())
        abort();
    return 0;
}
