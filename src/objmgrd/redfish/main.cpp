// SPDX-License-Identifier: Apache-2.0
// main.cpp -- objmgrd-redfish: the object manager of a machine whose controller speaks Redfish.
#include "objmgrd/redfish/redfish_provider.h"
#include "objmgrd/service.h"

#include <errno.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace
{

constexpr char kUsage[] =
    "Usage: objmgrd-redfish --config FILE [--dir DIR] [--rights FILE]\n"
    "       objmgrd-redfish --config FILE -- COMMAND [ARG...]\n"
    "       objmgrd-redfish --config FILE [--rights FILE] --check\n"
    "The object manager of a machine whose management controller speaks Redfish.\n"
    "\n"
    "  --config FILE  which service, and how to reach it, in TOML\n"
    "  --dir DIR      serve in DIR (default: $ZOROBJMGR, else /run/zor/objmgr)\n"
    "  --rights FILE  who may do what, in TOML (default: /etc/zor/rights.toml, where there is\n"
    "                 one; without it everybody who may connect may look); read again on SIGHUP\n"
    "  -- COMMAND     serve in a private directory while COMMAND runs, with ZOROBJMGR (and\n"
    "                 ZORSSNDIR, unless it is set) pointing there; exit with its status\n"
    "  --check        only say whether FILE, and the files that it names, are right\n"
    "  --help         show this text\n"
    "  --version      show the version\n";

std::unique_ptr<Provider> MakeProvider(const char *file, std::vector<FileNote> *notes)
{
    RedfishSettings settings;
    const auto password = std::make_shared<Password>(kRedfishPasswordMax, "this service");
    if (!RedfishSettingsRead(file, &settings, notes))
        return nullptr;
    if (!settings.passwordFile.empty()) {
        const std::string fault = password->Read(settings.passwordFile);
        if (!fault.empty()) {
            FileNoteAdd(notes, "password_file " + settings.passwordFile + ": " + fault);
            return nullptr;
        }
    }
    if (!settings.caFile.empty() && access(settings.caFile.c_str(), R_OK) != 0) {
        FileNoteAdd(notes, "ca_file " + settings.caFile + ": " + strerror(errno));
        return nullptr;
    }
    std::unique_ptr<Provider> provider = MakeRedfishProvider(settings, password, ServiceLog);
    provider->archive = settings.archive;
    return provider;
}

}  // namespace

int main(int argc, char **argv)
{
    // Password and token pass through the memory of libraries: no core file has them. The command
    // that the service may run is not bound by this.
    prctl(PR_SET_DUMPABLE, 0);
    return ServiceMain({"objmgrd-redfish", "config", kUsage, MakeProvider}, argc, argv);
}
