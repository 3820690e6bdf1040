// SPDX-License-Identifier: Apache-2.0
// fake_bmc.h -- a BMC that answers requests byte by byte from a machine that the test describes.
//
// Time is the machine's own: each answer takes latencyMs of it, a request without an answer
// silenceMs. Nothing here sleeps.
#ifndef TESTS_OBJMGRD_IPMI_FAKE_BMC_H
#define TESTS_OBJMGRD_IPMI_FAKE_BMC_H

#include "objmgrd/ipmi/reader.h"
#include "objmgrd/ipmi/sdr.h"
#include "objmgrd/ipmi/sel_map.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

using Bytes = std::vector<u8>;

inline u64 fakeNowMs = 0;
inline u64 FakeClock()
{
    return fakeNowMs;
}

// ---- records and areas ----

struct FakeSensor {
    const char *name;
    u8 number;
    u8 type;
    u8 eventType;
    bool full = true;
    u8 access = 1;  // thresholds: 0 none, 1 readable, 2 settable, 3 fixed
    u8 entity = 0;
    u8 entityInstance = 0;
    int m = 1;
    int b = 0;
    int rExponent = 0;
    u8 format = 0;
    u8 shareCount = 1;
    u8 linearization = 0;
    u8 unit1 = 0;     // besides the format
    u8 baseUnit = 0;  // 0: that of the type, of sensors with thresholds
};

// What sensors of the first types are in: C, V, A, RPM.
inline u8 UnitOfType(u8 type)
{
    constexpr u8 kUnits[] = {0, 1, 4, 5, 18};
    return type < sizeof kUnits ? kUnits[type] : u8{0};
}

inline Bytes SdrOf(const FakeSensor &sensor)
{
    const size_t nameLength = strlen(sensor.name);
    Bytes record(sensor.full ? 48 : 32, 0);
    record[2] = 0x51;
    record[3] = sensor.full ? 0x01 : 0x02;
    record[5] = 0x20;
    record[7] = sensor.number;
    record[8] = sensor.entity;
    record[9] = sensor.entityInstance;
    record[11] = static_cast<u8>(sensor.access << 2);
    record[12] = sensor.type;
    record[13] = sensor.eventType;
    record[20] = static_cast<u8>((sensor.format << 6) | sensor.unit1);
    record[21] = sensor.eventType == 0x01 && sensor.baseUnit == 0 ? UnitOfType(sensor.type)
                                                                  : sensor.baseUnit;
    if (sensor.full) {
        record[23] = sensor.linearization;
        record[24] = static_cast<u8>(sensor.m);
        record[25] = static_cast<u8>((sensor.m >> 2) & 0xc0);
        record[26] = static_cast<u8>(sensor.b);
        record[27] = static_cast<u8>((sensor.b >> 2) & 0xc0);
        record[29] = static_cast<u8>((sensor.rExponent & 0xf) << 4);
    } else {
        record[23] = sensor.shareCount;
        record[24] = 1;  // the first name ends in 1
    }
    record.back() = static_cast<u8>(0xc0 | nameLength);
    record.insert(record.end(), sensor.name, sensor.name + nameLength);
    record[4] = static_cast<u8>(record.size() - 5);
    return record;
}

inline Bytes FruLocator(u8 deviceId, u8 entity, u8 instance)
{
    Bytes record = {0, 0, 0x51, 0x11, 11,     0x20,     deviceId, 0x80,
                    0, 0, 0x10, 0,    entity, instance, 0,        0xc0};
    return record;
}

inline u8 ZeroSum(const Bytes &bytes)
{
    u8 sum = 0;
    for (u8 byte : bytes)
        sum = static_cast<u8>(sum + byte);
    return static_cast<u8>(-sum);
}

inline Bytes FruArea(Bytes head, const std::vector<std::string> &fields)
{
    for (const std::string &field : fields) {
        head.push_back(static_cast<u8>(0xc0 | field.size()));
        head.insert(head.end(), field.begin(), field.end());
    }
    head.push_back(0xc1);
    while (head.size() % 8 != 7)
        head.push_back(0);
    head[1] = static_cast<u8>((head.size() + 1) / 8);
    head.push_back(ZeroSum(head));
    return head;
}

// Areas in the order of the header: chassis, board, product, records; empty ones are left out.
inline Bytes FruOf(const std::vector<Bytes> &areas)
{
    Bytes fru = {1, 0, 0, 0, 0, 0, 0};
    size_t at = 8;
    for (size_t i = 0; i < areas.size(); ++i) {
        if (areas[i].empty())
            continue;
        fru[2 + i] = static_cast<u8>(at / 8);
        at += areas[i].size();
    }
    fru.push_back(ZeroSum(fru));
    for (const Bytes &area : areas)
        fru.insert(fru.end(), area.begin(), area.end());
    return fru;
}

inline Bytes ProductArea(const std::string &maker, const std::string &name,
                         const std::string &serial)
{
    return FruArea({1, 0, 0}, {maker, name, "part", "v1", serial});
}

inline Bytes WattageRecord(u32 watts)
{
    Bytes payload(24, 0);
    payload[0] = static_cast<u8>(watts);
    payload[1] = static_cast<u8>(watts >> 8);
    Bytes record = {0x00, 0x82, 24, ZeroSum(payload)};
    record.push_back(ZeroSum(record));
    record.insert(record.end(), payload.begin(), payload.end());
    return record;
}

// A threshold event of sensor 1, told apart by `seconds`.
inline SelRecord SelEvent(u16 id, u32 seconds, u8 sensor = 1)
{
    return {static_cast<u8>(id),
            static_cast<u8>(id >> 8),
            0x02,
            static_cast<u8>(seconds),
            static_cast<u8>(seconds >> 8),
            static_cast<u8>(seconds >> 16),
            static_cast<u8>(seconds >> 24),
            0x20,
            0,
            4,
            1,
            sensor,
            1,
            0x59,
            100,
            90};
}

// ---- the machine ----

struct FakeMachine {
    u32 latencyMs = 1;
    u32 silenceMs = 2500;
    u32 openingMs = 0;  // of a session; 0: latencyMs

    BmcOpening opening = BmcOpening::Open;
    std::string why = "no answer from bmc";
    bool silent = false;  // no session, no answer
    u8 everything = 0;    // not 0: the completion code of every answer

    bool on = true;
    u32 powerLagMs = 0;  // the host follows a command this much later
    bool stuck = false;
    u8 controlCode = 0;
    bool openingFails = false;  // of a session for control, at once
    bool controlLost = false;   // carried out, but not answered
    u32 asideMs = 0;            // ... and that is known after this; 0: after silenceMs

    std::vector<Bytes> sdrs;
    u32 sdrStamp = 100;
    u8 readMost = 255;               // bytes of an SDR or FRU at once
    std::map<u8, Bytes> readings;    // by sensor: data of Get Sensor Reading
    std::map<u8, Bytes> thresholds;  // by sensor: data of Get Sensor Thresholds
    std::vector<SelRecord> sel;
    u32 selAdded = 100;
    u32 selErased = 50;
    u32 erasingLooks = 0;  // an erasure is complete after so many looks
    std::map<u8, Bytes> frus;
    std::string name;  // "": not held

    // What happened.
    std::vector<std::pair<u8, u8>> requests;  // network function and command
    std::vector<u8> controls;                 // as carried out
    u32 openings = 0;
    u32 controlOpenings = 0;
    std::vector<u32> controlLimitsMs;  // that these were given
    u32 openSessions = 0;
    // Called before each request; true: *answer is the answer.
    std::function<bool(const BmcRequest &, BmcAnswer *)> hook;
    // Called before each request in the session for control; true: it is lost on its way.
    std::function<bool(const BmcRequest &)> lossHook;
    // Called before each opening of the session for control; true: a packet is lost.
    std::function<bool()> openingHook;

    u32 Count(u8 netFn, u8 command) const
    {
        return static_cast<u32>(
            std::count(requests.begin(), requests.end(), std::make_pair(netFn, command)));
    }

    // Private: the power state that comes.
    bool nextOn = true;
    u64 nextOnMs = 0;
    u32 erasing = 0;
    u16 reservation = 0;

    void SetPower(bool state) { on = nextOn = state; }
    bool PowerIsOn()
    {
        if (fakeNowMs >= nextOnMs)
            on = nextOn;
        return on;
    }
};

class FakeBmc : public Bmc
{
public:
    FakeBmc(FakeMachine *machine, bool control) : machine_(*machine), control_(control)
    {
        machine_.nextOn = machine_.on;
    }
    ~FakeBmc() override { Close(); }
    BmcOpening Open(std::string *why, u32 limitMs = 0) override
    {
        Close();
        (control_ ? machine_.controlOpenings : machine_.openings)++;
        if (control_)
            machine_.controlLimitsMs.push_back(limitMs);
        if (control_ && machine_.openingFails) {
            *why = machine_.why;
            return BmcOpening::Silent;
        }
        if (control_ && machine_.openingHook && machine_.openingHook()) {
            fakeNowMs += limitMs != 0 ? limitMs : machine_.silenceMs;
            *why = machine_.why;
            return BmcOpening::Silent;
        }
        if (machine_.silent || machine_.opening != BmcOpening::Open) {
            fakeNowMs += machine_.silent ? machine_.silenceMs : machine_.latencyMs;
            *why = machine_.why;
            return machine_.silent ? BmcOpening::Silent : machine_.opening;
        }
        if (limitMs != 0 && machine_.openingMs >= limitMs) {
            fakeNowMs += limitMs;
            *why = machine_.why;
            return BmcOpening::Silent;
        }
        fakeNowMs += machine_.openingMs != 0 ? machine_.openingMs : machine_.latencyMs;
        open_ = true;
        machine_.openSessions++;
        return BmcOpening::Open;
    }
    void Close() override
    {
        machine_.openSessions -= open_ ? 1 : 0;
        open_ = false;
    }
    BmcAnswer Ask(const BmcRequest &request) override
    {
        BmcAnswer answer;
        if (!open_)
            return answer;
        if (control_ && machine_.lossHook && machine_.lossHook(request)) {
            fakeNowMs += machine_.silenceMs;
            return answer;
        }
        machine_.requests.emplace_back(request.netFn, request.command);
        if (machine_.hook && machine_.hook(request, &answer))
            return answer;
        if (machine_.silent) {
            fakeNowMs += machine_.silenceMs;
            return answer;
        }
        fakeNowMs += machine_.latencyMs;
        if (machine_.everything != 0)
            return Code(machine_.everything);
        return Carry(request);
    }

    void AskAside(const BmcRequest &request) override
    {
        const u64 before = fakeNowMs;
        Bmc::AskAside(request);
        const bool slow = machine_.asideMs != 0 && request.command == kChassisControl;
        asideDueMs_ = slow ? before + machine_.asideMs : fakeNowMs;
        fakeNowMs = before;
    }
    bool TakeAnswer(BmcAnswer *answer, u32 waitMs) override
    {
        if (asideDueMs_ > fakeNowMs)
            fakeNowMs = std::min(asideDueMs_, fakeNowMs + waitMs);
        return asideDueMs_ <= fakeNowMs && Bmc::TakeAnswer(answer, waitMs);
    }

    static BmcAnswer Code(u8 code)
    {
        BmcAnswer answer;
        answer.came = true;
        answer.code = code;
        return answer;
    }
    static BmcAnswer Data(const Bytes &data)
    {
        BmcAnswer answer = Code(kBmcDone);
        answer.size = static_cast<u8>(data.size());
        std::copy(data.begin(), data.end(), answer.data);
        return answer;
    }

private:
    BmcAnswer Carry(const BmcRequest &request)
    {
        const u8 *in = request.data;
        switch ((request.netFn << 8) | request.command) {
        case 0x0001:
            return Data({static_cast<u8>(machine_.PowerIsOn() ? 0x61 : 0x60), 0, 0});
        case 0x0002:
            return Control(in[0]);
        case 0x042D:
            return Known(machine_.readings, in[0]);
        case 0x0427:
            return Known(machine_.thresholds, in[0]);
        case 0x0659:
            return Name(in[2]);
        case 0x0A10:
            return machine_.frus.count(in[0]) != 0
                       ? Data({LowByte(static_cast<u32>(machine_.frus[in[0]].size())),
                               HighByte(static_cast<u32>(machine_.frus[in[0]].size())), 0})
                       : Code(kBmcNotPresent);
        case 0x0A11:
            return Fru(in);
        case 0x0A20:
            return Info(static_cast<u32>(machine_.sdrs.size()), machine_.sdrStamp, 7);
        case 0x0A22:
        case 0x0A42:
            ++machine_.reservation;
            return Data({LowByte(machine_.reservation), HighByte(machine_.reservation)});
        case 0x0A23:
            return Sdr(in);
        case 0x0A40:
            return Info(static_cast<u32>(machine_.sel.size()), machine_.selAdded,
                        machine_.selErased);
        case 0x0A43:
            return Entry(BmcWord(in + 2));
        case 0x0A47:
            return Erase(in);
        default:
            return Code(0xC1);
        }
    }
    static BmcAnswer Known(const std::map<u8, Bytes> &all, u8 number)
    {
        const auto found = all.find(number);
        return found != all.end() ? Data(found->second) : Code(kBmcNotPresent);
    }
    static BmcAnswer Info(u32 count, u32 added, u32 erased)
    {
        Bytes data = {0x51, LowByte(count), HighByte(count), 0xff, 0xff};
        for (u32 stamp : {added, erased}) {
            for (u32 i = 0; i < 4; ++i)
                data.push_back(static_cast<u8>(stamp >> (8 * i)));
        }
        data.push_back(0x02);
        return Data(data);
    }
    BmcAnswer Control(u8 what)
    {
        if (machine_.controlCode != 0)
            return Code(machine_.controlCode);
        machine_.controls.push_back(what);
        if (what <= 1 && !machine_.stuck) {
            machine_.nextOn = what == 1;
            machine_.nextOnMs = fakeNowMs + machine_.powerLagMs;
        }
        if (!machine_.controlLost)
            return Data({});
        fakeNowMs += machine_.silenceMs;
        return BmcAnswer();
    }
    BmcAnswer Name(u8 block)
    {
        if (machine_.name.empty())
            return Code(0x80);
        Bytes all = {0, static_cast<u8>(machine_.name.size())};
        all.insert(all.end(), machine_.name.begin(), machine_.name.end());
        all.resize((all.size() + 15) / 16 * 16);
        if (block * 16u >= all.size())
            return Code(0xC9);
        Bytes data = {0x11, block};
        data.insert(data.end(), all.begin() + block * 16, all.begin() + block * 16 + 16);
        return Data(data);
    }
    BmcAnswer Fru(const u8 *in)
    {
        const Bytes &fru = machine_.frus[in[0]];
        const size_t at = BmcWord(in + 1);
        if (in[3] > machine_.readMost)
            return Code(kBmcCannotReturnSoMuch);
        if (at >= fru.size())
            return Code(0xC9);
        const size_t count = std::min<size_t>(in[3], fru.size() - at);
        Bytes data = {static_cast<u8>(count)};
        data.insert(data.end(), fru.begin() + static_cast<long>(at),
                    fru.begin() + static_cast<long>(at + count));
        return Data(data);
    }
    // Ids are 10, 20, 30 ... 0: the first.
    BmcAnswer Sdr(const u8 *in)
    {
        const u32 id = BmcWord(in + 2);
        const size_t place = id == 0 ? 0 : id / 10 - 1;
        if (BmcWord(in) != machine_.reservation && in[4] != 0)
            return Code(kBmcReservationLost);
        if (place >= machine_.sdrs.size() || id % 10 != 0)
            return Code(kBmcNotPresent);
        const Bytes &record = machine_.sdrs[place];
        const size_t at = in[4];
        const size_t count = in[5] == 0xff ? record.size() - at : in[5];
        if (count > machine_.readMost || at + count > record.size())
            return Code(kBmcCannotReturnSoMuch);
        const u32 next =
            place + 1 < machine_.sdrs.size() ? static_cast<u32>((place + 2) * 10) : 0xffff;
        Bytes data = {LowByte(next), HighByte(next)};
        data.insert(data.end(), record.begin() + static_cast<long>(at),
                    record.begin() + static_cast<long>(at + count));
        return Data(data);
    }
    BmcAnswer Entry(u32 id)
    {
        for (size_t i = 0; i < machine_.sel.size(); ++i) {
            if ((id != 0 || i != 0) && BmcWord(machine_.sel[i].data()) != id)
                continue;
            const u32 next =
                i + 1 < machine_.sel.size() ? BmcWord(machine_.sel[i + 1].data()) : u16{0xffff};
            Bytes data = {LowByte(next), HighByte(next)};
            data.insert(data.end(), machine_.sel[i].begin(), machine_.sel[i].end());
            return Data(data);
        }
        return Code(kBmcNotPresent);
    }
    BmcAnswer Erase(const u8 *in)
    {
        if (BmcWord(in) != machine_.reservation)
            return Code(kBmcReservationLost);
        if (in[5] == 0xAA)
            machine_.erasing = machine_.erasingLooks;
        else if (machine_.erasing > 0)
            --machine_.erasing;
        if (machine_.erasing > 0)
            return Data({0});
        machine_.sel.clear();
        ++machine_.selErased;
        return Data({1});
    }

    FakeMachine &machine_;
    const bool control_;
    bool open_ = false;
    u64 asideDueMs_ = 0;
};

#endif
