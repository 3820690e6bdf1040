// SPDX-License-Identifier: Apache-2.0
// sel_reader.h -- follows the System Event Log without reading it again and again.
//
// Get SEL Info says whether anything changed. New records are read along the chain, from the last
// known one on; the chain is the order, since ids are reused. Where something was deleted, or the
// chain is not what it was, the whole log is read again. No reservation is made: those of several
// readers cancel each other. A record that can never be read keeps its place (kSelUnreadable).
#ifndef OBJMGRD_IPMI_SEL_READER_H
#define OBJMGRD_IPMI_SEL_READER_H

#include "objmgrd/ipmi/reader.h"
#include "objmgrd/ipmi/sel_map.h"

// Later records are left out: clients count them in 16 bits.
constexpr u32 kSelRecordsMax = 65534;

class SelReader
{
public:
    // Begins a look at the log.
    void Start();
    // After Done, Records() is the log; those from FirstNew() on were read since Start.
    ReadStep Step(Bmc *bmc);
    const std::vector<SelRecord> &Records() const { return records_; }
    u32 FirstNew() const { return firstNew_; }
    u8 Code() const { return code_; }
    // After Done: the chain led back, so records may be missing.
    bool LedBack() const { return ledBack_; }
    // Whether the log can be known again: some BMCs have no clock for it.
    bool StampTells() const { return stamp_.added != 0 && stamp_.added != 0xFFFFFFFF; }
    // Makes the next look read everything.
    void Forget() { known_ = false; }

private:
    enum class Phase : u8 { Info, Last, Next };

    struct Stamp {
        u16 records = 0;
        u32 added = 0;
        u32 erased = 0;
        bool operator==(const Stamp &) const = default;
    };

    ReadStep StepInfo(Bmc *bmc);
    ReadStep StepEntry(Bmc *bmc);
    ReadStep ReadAll();
    ReadStep Unreadable(u8 code);
    ReadStep EndOfChain();
    ReadStep TakeEntry(const BmcAnswer &answer);
    ReadStep End();

    Phase phase_ = Phase::Info;
    bool known_ = false;
    bool all_ = false;  // the whole log is being read
    bool ledBack_ = false;
    u32 restarts_ = 0;  // in this look
    Stamp stamp_;
    Stamp fresh_;
    u16 id_ = 0;
    u32 tries_ = 0;   // of this record, in vain
    u32 probes_ = 0;  // ids tried in a row that are no record
    u32 firstNew_ = 0;
    u8 code_ = 0;
    std::vector<SelRecord> records_;
    std::vector<bool> asked_;  // ids that led to one of them
};

#endif
