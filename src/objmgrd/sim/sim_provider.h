// SPDX-License-Identifier: Apache-2.0
// sim_provider.h -- a simulated server as the object manager's source of data.
//
// Methods, all of which keep their effect as long as the service runs:
//   OEM_QARN_System           Start  PowerStatus becomes "ON"
//                             Stop   PowerStatus becomes "OFF"
//                             Reset  without arguments or with "Mode=PowerCycle": PowerStatus
//                                    stays, the property LastReset becomes "Reset" or
//                                    "PowerCycle" and ResetCount counts up from 1
//   OEM_QARN_MessageLog.Name=SEL
//                             Clear  deletes every record, NumRecords becomes "0"
// The server is on when PowerStatus is exactly "ON". Start of one that is on, and Stop or Reset
// of one that is off, change nothing and answer status 0 with kMethodNotApplicable. Sensors stay as
// they are when the power goes.
//
// Status: the instance's own where the host file gives it one; that comes before what the host file
// plans for the method ([faults.methods]). A server whose PowerStatus has a status answers that to
// a power method that has nothing else planned. A property with a status keeps it.
//
// Tools see one source, "simulated host", of every instance. It is heard every second, and with
// each method, while the power state can be read: a host file that gives the system or its
// PowerStatus a status describes a source that is silent.
#ifndef OBJMGRD_SIM_SIM_PROVIDER_H
#define OBJMGRD_SIM_SIM_PROVIDER_H

#include "objmgrd/provider.h"
#include "objmgrd/sim/host_file.h"

class SimProvider : public Provider
{
public:
    explicit SimProvider(Host host);

    const char *Name() const override { return "sim"; }
    int Load(ImageWriter *store) override;
    bool Has(const std::string &key) const override;
    ProviderReply Invoke(const MethodCall &call, ImageWriter *store) override;
    void Committed(bool done) override;
    u32 TickMs() const override { return 1000; }
    void Tick(ImageWriter *store, std::vector<ProviderAnswer> *answers) override;

private:
    // What the method in hand does to the server, which is so only once the store says it too.
    enum class Effect : u8 { None, Power, Reset, Clear };

    void TellHeard(ImageWriter *store);
    HostInstance *Find(const std::string &key);
    const HostMethodFault *FaultOf(const std::string &method) const;
    ProviderReply Act(HostInstance *target, const MethodCall &call, ImageWriter *store);
    ProviderReply Power(HostInstance *system, const MethodCall &call, ImageWriter *store);
    ProviderReply Clear(HostInstance *log, ImageWriter *store);

    Host host_;
    u16 source_ = kImageNoSource;
    u32 resets_ = 0;
    Effect effect_ = Effect::None;
    HostInstance changed_;  // with an effect: the instance as it is to be
};

#endif
