// SPDX-License-Identifier: Apache-2.0
// main.cpp -- entry and controller probe.
#include "objmgr/connection.h"
#include "objmgr/schema.h"
#include "platform/map.h"
#include "platform/trace.h"
#include "smclp/output.h"
#include "smclp/results.h"
#include "smclp/shell.h"

#include <stdio.h>

namespace
{

constexpr char kUnit[] = "main";
constexpr char kFrame[] =
    "========================================================================";

}  // namespace

// Reads the power status once: proof that the controller reaches the BMC. Says what is wrong when
// an answer came and was no value. Returns 0 when it was, 1 otherwise.
u32 SmclpGetPowerStatus()
{
    ObjMgrConnection connection(ObjMgrClose::WhenOpened);
    if (!connection.HasInterface()) {
        TRACE_ASSERT_FAILED_AT(kUnit, 61);  // a line number that field engineers search for
        return kSmclpFailed;
    }
    char powerStatus[32] = "";
    CimStatus status = kCimOk;
    const bool opened = connection.Open();
    if (opened)
        status = connection.GetProperty(kSystemClass, kPropertyPowerStatus, powerStatus,
                                        sizeof powerStatus);
    if (opened && status == kCimAccessDenied) {
        printf("ERROR: Insufficient user privileges\n");
    } else if (opened && status != kCimOk) {
        printf("%s\n"
               "ERROR: The ZOR is unable to communicate with the BMC. This could be due\n"
               "to an issue with missing or non-operational IPMI drivers or a BMC that\n"
               "is no longer responding on your system.\n"
               "%s\n",
               kFrame, kFrame);
    }
    return opened && status == kCimOk ? kSmclpOk : kSmclpFailed;
}

int main(int argc, char **argv)
{
    SmclpOutputSetUp();
    u32 status = 0;
    if (MapInit(argc, argv) != 0)
        TRACE_ASSERT_FAILED_AT(kUnit, 131);  // a line number that field engineers search for
    else if (SmclpGetPowerStatus() == kSmclpOk && SmclpInit() == kSmclpOk) {
        status = SmclpShell(argc, argv);
        SmclpUninit();
    }
    MapUninit();
    return static_cast<int>(status);
}
