// SPDX-License-Identifier: Apache-2.0
// sdr_reader.h -- reads the BMC's repository of sensor data records when it has changed.
//
// A record is asked for as a whole; where the BMC cannot return so much, in parts that are as large
// as it takes. A record that cannot be read, or that is cut off, is left out, and the reading goes
// on behind it. It ends where the chain leads back to a record that was read: some BMCs end it with
// the first record's id.
#ifndef OBJMGRD_IPMI_SDR_READER_H
#define OBJMGRD_IPMI_SDR_READER_H

#include "objmgrd/ipmi/reader.h"
#include "objmgrd/ipmi/sdr.h"

// Records read of one repository.
constexpr u32 kSdrRecordsMax = 8192;
// Where a record does not even tell which one follows, so many ids after it are tried.
constexpr u32 kSdrProbesMax = 32;

// What says whether the repository changed.
struct SdrStamp {
    u16 records = 0;
    u32 added = 0;
    u32 erased = 0;
    bool operator==(const SdrStamp &) const = default;
};

struct SdrSkipped {
    u16 id = 0;     // of the record
    u8 offset = 0;  // the first byte that was not read
    u8 code = 0;    // the BMC's completion code; 0: there were no more bytes
};

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
    // What was left out when it was last read anew.
    const std::vector<SdrSkipped> &Skipped() const { return skipped_; }
    u8 Code() const { return code_; }
    // The chain led back before there were as many records as the BMC says, when it was last read
    // anew.
    bool LedBack() const { return ledBack_; }
    // Makes the next look read everything.
    void Forget() { known_ = false; }

    // ---- for a reading that outlives the process (sdr_file.h)
    const SdrStamp &Stamp() const { return stamp_; }
    const std::vector<std::vector<u8>> &Records() const { return records_; }
    // Whether Repository() is what Recall gave.
    bool Recalled() const { return isRecalled_; }
    // What an earlier process read: the next look takes it where the stamp is still that.
    void Recall(const SdrStamp &stamp, std::vector<std::vector<u8>> records);

private:
    enum class Phase : u8 { Info, Reserve, Record };

    ReadStep StepInfo(Bmc *bmc);
    ReadStep StepReserve(Bmc *bmc);
    ReadStep StepRecord(Bmc *bmc);
    ReadStep RecordRefused(u8 code);
    ReadStep TakePart(const BmcAnswer &answer);
    ReadStep TakeRecord();
    ReadStep Skip(u8 code);
    ReadStep NextRecord();
    void BeginRecord(u16 id);
    ReadStep Fail(const BmcAnswer &answer);

    Phase phase_ = Phase::Info;
    bool known_ = false;
    bool recalled_ = false;  // it is known from an earlier process, and not taken yet
    bool isRecalled_ = false;
    bool changed_ = false;
    bool ledBack_ = false;
    SdrStamp stamp_;
    SdrStamp fresh_;
    u32 lostReservations_ = 0;
    u32 recordsRead_ = 0;  // with those that were left out
    u32 probes_ = 0;       // ids tried in a row that told nothing
    u16 reservation_ = 0;
    u16 id_ = 0;
    u16 nextId_ = 0;
    bool nextKnown_ = false;  // nextId_ is what the record says
    bool again_ = false;      // the record is being read for the second time
    u32 part_ = 0;            // place of the size of parts in use; 0: the whole record
    u32 partBefore_ = 0;      // ... when the record was begun
    u8 code_ = 0;
    std::vector<bool> asked_;  // by id
    std::vector<u8> record_;   // as far as it is read
    std::vector<std::vector<u8>> reading_;
    std::vector<SdrSkipped> skipping_;
    std::vector<std::vector<u8>> records_;
    std::vector<SdrSkipped> skipped_;
    SdrRepository repository_;
};

#endif
