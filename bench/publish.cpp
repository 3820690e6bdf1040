// SPDX-License-Identifier: Apache-2.0
// publish.cpp -- what it costs a service to publish one changed reading on a large host.
//
//   bench_publish [ROUNDS]      default 500
#include "bench_host.h"
#include "objmgrd/image_writer.h"

#include <algorithm>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <time.h>
#include <unistd.h>
#include <vector>

static constexpr u32 kSensors = 300;
static constexpr u32 kRecords = 4000;

static u64 NowUs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000000 + static_cast<u64>(now.tv_nsec) / 1000;
}

static Instance InstanceOf(const BenchProperties &properties)
{
    Instance instance;
    for (const auto &[name, text] : properties)
        instance.properties.push_back({name, kCimOk, text});
    return instance;
}

static bool Load(ImageWriter *writer, const BenchHost &host)
{
    bool right =
        writer->Begin() == 0 && writer->Put("OEM_QARN_System", InstanceOf(BenchSystem())) == 0;
    for (u32 index = 1; right && index <= kSensors; ++index)
        right = writer->Put("OEM_QARN_Sensor.Index=" + std::to_string(index),
                            InstanceOf(BenchSensorProperties(host, index))) == 0;
    for (u32 number = 1; right && number <= kRecords; ++number)
        right = writer->Put("OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(number),
                            InstanceOf(BenchRecordProperties(number))) == 0;
    return right && writer->Commit() == 0 && writer->Publish() == 0;
}

// One reading is another one at each round; as soon as it may, it is published.
static bool Rounds(ImageWriter *writer, const BenchHost &host, u32 rounds, std::vector<u64> *times)
{
    Instance sensor = InstanceOf(BenchSensorProperties(host, 1));
    for (u32 round = 0; round < rounds; ++round) {
        for (PropertyValue &property : sensor.properties) {
            if (property.name == "Reading")
                property.text = std::to_string(round);
        }
        if (writer->Begin() != 0 || writer->Put("OEM_QARN_Sensor.Index=1", sensor) != 0 ||
            writer->Commit() != 0)
            return false;
        while (NowUs() < writer->PublishFromMs() * 1000)
            usleep(500);
        const u64 before = NowUs();
        if (writer->Publish() != 0)
            return false;
        times->push_back(NowUs() - before);
    }
    return true;
}

int main(int argc, char **argv)
{
    const u32 rounds = argc > 1 ? static_cast<u32>(atoi(argv[1])) : 500;
    char directory[] = "/tmp/bench_publish.XXXXXX";
    if (mkdtemp(directory) == nullptr || rounds == 0)
        return EXIT_FAILURE;
    const BenchHost host = MakeBenchHost(kSensors, kRecords);
    std::vector<u64> times;
    const u64 before = NowUs();
    u64 elapsed = 0;
    bool right;
    {
        ImageWriter writer;
        right = writer.Open(directory) == 0 && Load(&writer, host) &&
                Rounds(&writer, host, rounds, &times);
        elapsed = NowUs() - before;
    }
    unlink((std::string(directory) + "/lock").c_str());
    rmdir(directory);
    if (!right)
        return EXIT_FAILURE;
    u64 sum = 0;
    for (const u64 time : times)
        sum += time;
    std::sort(times.begin(), times.end());
    printf("publishing one changed reading of %u sensors and %u records: median %llu us, 99 of 100 "
           "under %llu us, %llu %% of the time\n",
           kSensors, kRecords, static_cast<unsigned long long>(times[times.size() / 2]),
           static_cast<unsigned long long>(times[times.size() * 99 / 100]),
           static_cast<unsigned long long>(100 * sum / elapsed));
    return EXIT_SUCCESS;
}
