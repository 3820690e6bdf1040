// SPDX-License-Identifier: Apache-2.0
// main.cpp -- objmgrd-ipmi: the object manager of a machine with a BMC.
#include "objmgrd/ipmi/bmc_freeipmi.h"
#include "objmgrd/ipmi/ipmi_provider.h"
#include "objmgrd/service.h"

namespace
{

constexpr char kUsage[] =
    "Usage: objmgrd-ipmi --config FILE [--dir DIR] [--rights FILE]\n"
    "       objmgrd-ipmi --config FILE -- COMMAND [ARG...]\n"
    "       objmgrd-ipmi --config FILE [--rights FILE] --check\n"
    "The object manager of a machine whose BMC is reached over IPMI.\n"
    "\n"
    "  --config FILE  which BMC, and how to reach it, in TOML\n"
    "  --dir DIR      serve in DIR (default: $ZOROBJMGR, else /run/zor/objmgr)\n"
    "  --rights FILE  who may do what, in TOML (default: /etc/zor/rights.toml, where there is\n"
    "                 one; without it everybody who may connect may look); read again on SIGHUP\n"
    "  -- COMMAND     serve in a private directory while COMMAND runs, with ZOROBJMGR (and\n"
    "                 ZORSSNDIR, unless it is set) pointing there; exit with its status\n"
    "  --check        only say whether the files, and the password file, are right\n"
    "  --help         show this text\n"
    "  --version      show the version\n";

std::unique_ptr<Provider> MakeProvider(const char *file, std::vector<FileNote> *notes)
{
    const auto settings = std::make_shared<IpmiSettings>();
    const auto password = std::make_shared<Password>(kIpmiPasswordMax, "IPMI");
    if (!IpmiSettingsRead(file, settings.get(), notes))
        return nullptr;
    if (!settings->passwordFile.empty()) {
        const std::string fault = password->Read(settings->passwordFile);
        if (!fault.empty()) {
            FileNoteAdd(notes, "password_file " + settings->passwordFile + ": " + fault);
            return nullptr;
        }
    }
    const auto allowance = std::make_shared<OpeningAllowance>();
    std::unique_ptr<Provider> provider = MakeIpmiProvider(
        *settings, std::make_unique<FreeIpmiBmc>(settings, password, BmcUse::Poll, allowance),
        std::make_unique<FreeIpmiBmc>(settings, password, BmcUse::Control, allowance), ServiceLog);
    provider->archive = settings->archive;
    return provider;
}

}  // namespace

int main(int argc, char **argv)
{
    return ServiceMain({"objmgrd-ipmi", "config", kUsage, MakeProvider}, argc, argv);
}
