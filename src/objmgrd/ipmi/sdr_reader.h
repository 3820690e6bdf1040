// SPDX-License-Identifier: Apache-2.0
// sdr_reader.h -- reads the BMC's repository of sensor data records when it has changed.
#ifndef OBJMGRD_IPMI_SDR_READER_H
#define OBJMGRD_IPMI_SDR_READER_H

#include "objmgrd/ipmi/reader.h"
#include "objmgrd/ipmi/sdr.h"

// Records read of one repository: a chain that is longer goes in a circle.
constexpr u32 kSdrRecordsMax = 8192;

class SdrReader
{
public:
    // Begins a look at the repository. Its records are read only when its time stamps or its
    // number of records are not those of the last reading.
    void Start();
    // After Done: Repository() is what the BMC holds; Changed() says whether it was read anew.
    ReadStep Step(Bmc *bmc);
    bool Changed() const { return changed_; }
    const SdrRepository &Repository() const { return repository_; }
    u8 Code() const { return code_; }
    // Makes the next look read everything.
    void Forget() { known_ = false; }

private:
    enum class Phase : u8 { Info, Reserve, Record };

    // What says whether the repository changed.
    struct Stamp {
        u16 records = 0;
        u32 added = 0;
        u32 erased = 0;
        bool operator==(const Stamp &) const = default;
    };

    ReadStep StepInfo(Bmc *bmc);
    ReadStep StepReserve(Bmc *bmc);
    ReadStep StepRecord(Bmc *bmc);
    ReadStep TakePart(const BmcAnswer &answer);
    ReadStep TakeRecord();
    ReadStep Fail(const BmcAnswer &answer);

    Phase phase_ = Phase::Info;
    bool known_ = false;
    bool changed_ = false;
    bool whole_ = true;  // records are asked for as a whole, not in parts
    Stamp stamp_;
    Stamp fresh_;
    u16 reservation_ = 0;
    u32 lostReservations_ = 0;
    u32 recordsRead_ = 0;
    u16 id_ = 0;
    u16 nextId_ = 0;
    u8 code_ = 0;
    std::vector<u8> record_;  // as far as it is read
    SdrRepository reading_;
    SdrRepository repository_;
};

#endif
