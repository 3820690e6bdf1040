// SPDX-License-Identifier: Apache-2.0
// main.cpp -- objmgrd-sim: the object manager of a simulated server.
#include "objmgrd/service.h"
#include "objmgrd/sim/host_file.h"
#include "objmgrd/sim/sim_provider.h"

namespace
{

constexpr char kUsage[] =
    "Usage: objmgrd-sim --host FILE [--dir DIR] [--rights FILE]\n"
    "       objmgrd-sim --host FILE -- COMMAND [ARG...]\n"
    "       objmgrd-sim --host FILE [--rights FILE] --check\n"
    "The object manager of the simulated server that FILE describes.\n"
    "\n"
    "  --host FILE    the description of the server, in TOML\n"
    "  --dir DIR      serve in DIR (default: $ZOROBJMGR, else /run/zor/objmgr)\n"
    "  --rights FILE  who may do what, in TOML (default: /etc/zor/rights.toml, where there is\n"
    "                 one; without it everybody who may connect may look); read again on SIGHUP\n"
    "  -- COMMAND     serve in a private directory while COMMAND runs, with ZOROBJMGR (and\n"
    "                 ZORSSNDIR, unless it is set) pointing there; exit with its status\n"
    "  --check        only say whether the files are right\n"
    "  --help         show this text\n"
    "  --version      show the version\n";

std::unique_ptr<Provider> MakeProvider(const char *file, std::vector<FileNote> *notes)
{
    Host host;
    if (!HostFileRead(file, &host, notes))
        return nullptr;
    const ArchiveSettings archive = host.archive;
    auto provider = std::make_unique<SimProvider>(std::move(host));
    provider->archive = archive;
    return provider;
}

}  // namespace

int main(int argc, char **argv)
{
    return ServiceMain({"objmgrd-sim", "host", kUsage, MakeProvider}, argc, argv);
}
