// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/store_writer.h"

#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

// Nothing here opens the store in the process that writes it: LMDB forbids that.

static const Records kSystem = {{"OEM_QARN_System", Texts({{"PowerStatus", "ON"}})}};

static std::vector<std::string> Names(const std::string &directory)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

static size_t CountStores(const std::string &directory)
{
    size_t count = 0;
    for (const std::string &name : Names(directory))
        count += name.rfind("store-", 0) == 0 ? 1u : 0u;
    return count;
}

static std::string LinkTarget(const std::string &directory)
{
    std::error_code none;
    return std::filesystem::read_symlink(directory + "/store", none).string();
}

// The count in the alive file.
static u32 CountIn(const std::string &directory)
{
    u32 count = 0;
    std::ifstream(directory + "/alive").read(reinterpret_cast<char *>(&count), sizeof(count));
    return count;
}

static mode_t ModeOf(const std::string &path)
{
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

// ---- texts ----

TEST(StoreSafeText, PlainTextStays)
{
    EXPECT_EQ(StoreSafeText(""), "");
    EXPECT_EQ(StoreSafeText("Fan 1 ~ 40%"), "Fan 1 ~ 40%");
    EXPECT_EQ(StoreSafeText("\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"),
              "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(StoreSafeText, ControlCharactersBecomeQuestionMarks)
{
    EXPECT_EQ(StoreSafeText(std::string("a\0b", 3)), "a?b");
    EXPECT_EQ(StoreSafeText("\x1b[2J\r\n\t"), "?[2J???");
    EXPECT_EQ(StoreSafeText("\x1f \x7e\x7f"), "? ~?");
    EXPECT_EQ(StoreSafeText("\xc2\x80|\xc2\x9b|\xc2\x9f|\xc2\xa0"), "?|?|?|\xc2\xa0");
}

TEST(StoreSafeText, BytesThatAreNoUtf8BecomeQuestionMarks)
{
    EXPECT_EQ(StoreSafeText("a\x80\xff\xfe"), "a???");
    EXPECT_EQ(StoreSafeText("\xc3"), "?");
    EXPECT_EQ(StoreSafeText("\xc3("), "?(");
    EXPECT_EQ(StoreSafeText("\xe2\x82"), "??");
    EXPECT_EQ(StoreSafeText("\xe2\x82x"), "??x");
    EXPECT_EQ(StoreSafeText("\xf0\x9f\x98"), "???");
    EXPECT_EQ(StoreSafeText("\xc0\xaf\xc1\xbf"), "????");
    EXPECT_EQ(StoreSafeText("\xe0\x9f\xbf|\xe0\xa0\x80"), "???|\xe0\xa0\x80");
    EXPECT_EQ(StoreSafeText("\xed\xa0\x80|\xed\x9f\xbf"), "???|\xed\x9f\xbf");
    EXPECT_EQ(StoreSafeText("\xf0\x8f\xbf\xbf|\xf0\x90\x80\x80"), "????|\xf0\x90\x80\x80");
    EXPECT_EQ(StoreSafeText("\xf4\x90\x80\x80|\xf4\x8f\xbf\xbf"), "????|\xf4\x8f\xbf\xbf");
    EXPECT_EQ(StoreSafeText("\xf5\x80\x80\x80"), "????");
}

TEST(StoreSafeText, LongTextIsCutAtAWholeCharacter)
{
    const std::string longest(1023, 'x');
    EXPECT_EQ(StoreSafeText(longest), longest);
    EXPECT_EQ(StoreSafeText(longest + "y"), longest);
    const std::string before(1021, 'x');
    EXPECT_EQ(StoreSafeText(before + "\xc3\xa9z"), before + "\xc3\xa9");
    EXPECT_EQ(StoreSafeText(before + "\xe2\x82\xac"), before);
    EXPECT_EQ(StoreSafeText(before + "\xf0\x9f\x98\x80z"), before);
}

TEST(StorePack, PropertiesFollowTheStatus)
{
    Instance instance;
    instance.status = 0;
    instance.properties = {{"A", 0, "1"}, {"B", 2, "hidden"}};
    EXPECT_EQ(StorePack(instance), std::string("\0\0\0\0"
                                               "\0\0\0\0\1\0\1"
                                               "A\0"
                                               "1\0"
                                               "\2\0\0\0\0\0\1"
                                               "B\0"
                                               "\0",
                                               4 + 7 + 2 + 2 + 7 + 2 + 1));
}

TEST(StorePack, PropertiesThatAreReadMostComeFirstAndTheRestAsGiven)
{
    const Instance mixed = Texts({{"Index", "1"},
                                  {"NumRecords", "2"},
                                  {"Format", "3"},
                                  {"ServiceTag", "4"},
                                  {"Name", "5"},
                                  {"PowerStatus", "6"},
                                  {"Type", "7"},
                                  {"Format", "8"},
                                  {"Typed", "9"},
                                  {"A", "10"}});
    const auto ordered = [](const char *name, const char *text) {
        return std::string(4, '\0') + static_cast<char>(strlen(text)) + '\0' +
               static_cast<char>(strlen(name)) + name + '\0' + text + '\0';
    };
    EXPECT_EQ(StorePack(mixed),
              std::string(4, '\0') + ordered("Type", "7") + ordered("Format", "3") +
                  ordered("Format", "8") + ordered("PowerStatus", "6") +
                  ordered("ServiceTag", "4") + ordered("NumRecords", "2") + ordered("Index", "1") +
                  ordered("Name", "5") + ordered("Typed", "9") + ordered("A", "10"));
}

TEST(StorePack, NamesThatDoNotFitAreLeftOut)
{
    const std::string longest(63, 'n');
    const std::string record = StorePack(Texts({{longest, "1"},
                                                {longest + "n", "2"},
                                                {"", "3"},
                                                {"a\nb", "4"},
                                                {std::string("a\0b", 3), "5"},
                                                {"a\x7f", "6"}}));
    EXPECT_EQ(record.size(), 4u + 7 + 63 + 1 + 2);
}

// ---- the store ----

TEST(StoreWriter, PublishedStoreHoldsWhatWasPut)
{
    TestDirectory directory;
    StepProcess service({[&] {
        static StoreWriter writer;
        return PublishAll(&writer, directory.Path(), kSystem);
    }});
    const u64 before = MonotonicMs();
    ASSERT_EQ(service.Run(0), 0);
    const RawRecords records = ReadStoreAt(directory.Path());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records.at("OEM_QARN_System"), StorePack(kSystem[0].second));
    u64 beat = 0;
    ASSERT_EQ(records.at(".heartbeat").size(), 8u);
    memcpy(&beat, records.at(".heartbeat").data(), 8);
    EXPECT_GE(beat, before);
    EXPECT_LE(beat, MonotonicMs());
}

TEST(StoreWriter, NothingIsSeenBeforePublish)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    ASSERT_EQ(PutAll(&writer, kSystem), 0);
    EXPECT_EQ(writer.Heartbeat(), 0);
    EXPECT_EQ(LinkTarget(directory.Path()), "");
    EXPECT_EQ(writer.Publish(), 0);
    EXPECT_EQ(LinkTarget(directory.Path()).substr(0, 6), "store-");
}

TEST(StoreWriter, MissingDirectoriesAreMadeForTheOwnerAlone)
{
    TestDirectory directory;
    const std::string deep = directory.Path() + "/a/b";
    StoreWriter writer;
    ASSERT_EQ(PublishAll(&writer, deep, kSystem), 0);
    EXPECT_EQ(ModeOf(deep), 0700u);
    EXPECT_EQ(ModeOf(deep + "/store"), 0700u);
    EXPECT_EQ(ModeOf(deep + "/store/data.mdb"), 0600u);
    EXPECT_EQ(ModeOf(deep + "/store/lock.mdb"), 0600u);
    EXPECT_EQ(ModeOf(deep + "/alive"), 0600u);
}

TEST(StoreWriter, WhoMayEnterTheDirectoryMayConnect)
{
    TestDirectory directory;
    ASSERT_EQ(chmod(directory.Path().c_str(), 0710), 0);
    {
        StoreWriter writer;
        ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
        EXPECT_EQ(ModeOf(directory.Path() + "/store"), 0750u);
        EXPECT_EQ(ModeOf(directory.Path() + "/store/data.mdb"), 0640u);
        EXPECT_EQ(ModeOf(directory.Path() + "/store/lock.mdb"), 0660u);
        EXPECT_EQ(ModeOf(directory.Path() + "/alive"), 0640u);
    }
    ASSERT_EQ(chmod(directory.Path().c_str(), 0755), 0);
    StoreWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(ModeOf(directory.Path() + "/store"), 0755u);
    EXPECT_EQ(ModeOf(directory.Path() + "/store/data.mdb"), 0644u);
    EXPECT_EQ(ModeOf(directory.Path() + "/store/lock.mdb"), 0666u);
    EXPECT_EQ(ModeOf(directory.Path() + "/alive"), 0644u);
}

TEST(StoreWriter, SecondServiceIsBusyAndChangesNothing)
{
    TestDirectory directory;
    StepProcess service({[&] {
        static StoreWriter writer;
        return PublishAll(&writer, directory.Path(), kSystem);
    }});
    ASSERT_EQ(service.Run(0), 0);
    const std::vector<std::string> names = Names(directory.Path());
    StoreWriter second;
    EXPECT_EQ(second.Open(directory.Path()), EBUSY);
    EXPECT_EQ(second.Begin(), EINVAL);
    EXPECT_EQ(Names(directory.Path()), names);
    EXPECT_EQ(ReadStoreAt(directory.Path()).count("OEM_QARN_System"), 1u);
}

TEST(StoreWriter, EveryChangeOfTheStoreInUseIsCounted)
{
    TestDirectory directory;
    for (u32 service = 0; service < 3; ++service) {
        StepProcess process({[&] {
                                 static StoreWriter writer;
                                 return writer.Open(directory.Path());
                             },
                             [&] {
                                 static StoreWriter writer;
                                 return PublishAll(&writer, directory.Path(), kSystem);
                             }});
        // One that ends before it publishes, then one that does.
        ASSERT_EQ(process.Run(service == 0 ? 0 : 1), 0);
        EXPECT_EQ(CountIn(directory.Path()), service == 0 ? 1u : 1u + 2 * service);
        process.Process().Kill();
    }
}

TEST(StoreWriter, EndOfTheStoreInUseIsCounted)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(CountIn(directory.Path()), 1u);
    writer.Close();  // no client has seen it
    EXPECT_EQ(CountIn(directory.Path()), 1u);
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    ASSERT_EQ(writer.Publish(), 0);
    EXPECT_EQ(CountIn(directory.Path()), 3u);
    writer.Close();
    EXPECT_EQ(CountIn(directory.Path()), 4u);
}

TEST(StoreWriter, OpenTwiceIsBusy)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(writer.Open(directory.Path()), EBUSY);
    EXPECT_EQ(writer.Publish(), 0);
}

TEST(StoreWriter, DirectoryThatCannotBeMadeIsAnError)
{
    TestDirectory directory;
    std::ofstream(directory.Path() + "/file") << "x";
    StoreWriter writer;
    EXPECT_EQ(writer.Open(directory.Path() + "/file/deep"), ENOTDIR);
    EXPECT_EQ(writer.Open(directory.Path() + "/file"), ENOTDIR);
    EXPECT_EQ(writer.Open(""), EINVAL);
}

TEST(StoreWriter, AliveFileThatIsALinkIsRefused)
{
    TestDirectory directory;
    ASSERT_EQ(symlink("elsewhere", (directory.Path() + "/alive").c_str()), 0);
    StoreWriter writer;
    EXPECT_EQ(writer.Open(directory.Path()), ELOOP);
    EXPECT_EQ(Names(directory.Path()), std::vector<std::string>{"alive"});
}

TEST(StoreWriter, CloseLeavesOnlyTheAliveFile)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(Names(directory.Path()).size(), 3u);
    writer.Close();
    EXPECT_EQ(Names(directory.Path()), std::vector<std::string>{"alive"});
    writer.Close();
    EXPECT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
}

TEST(StoreWriter, StoreOfADeadServiceIsOutOfUseAtOnceAndRemovedByPublish)
{
    TestDirectory directory;
    {
        StepProcess service({[&] {
            static StoreWriter writer;
            return PublishAll(&writer, directory.Path(), kSystem);
        }});
        ASSERT_EQ(service.Run(0), 0);
    }
    const std::string old = LinkTarget(directory.Path());
    ASSERT_NE(old, "");
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(LinkTarget(directory.Path()), "");
    EXPECT_EQ(CountStores(directory.Path()), 2u);
    ASSERT_EQ(writer.Publish(), 0);
    EXPECT_EQ(CountStores(directory.Path()), 1u);
    EXPECT_NE(LinkTarget(directory.Path()), old);
}

TEST(StoreWriter, PublishRemovesStoresAndNothingElse)
{
    TestDirectory directory;
    TestDirectory other;
    const std::string base = directory.Path() + "/";
    std::ofstream(other.Path() + "/data.mdb") << "precious";
    ASSERT_EQ(mkdir((base + "store-Abc123").c_str(), 0700), 0);
    std::ofstream(base + "store-Abc123/data.mdb") << "x";
    std::ofstream(base + "store-Abc123/lock.mdb") << "x";
    for (const char *name : {"store-abc", "store-abc1234", "store-ab.123", "stores-abc12"}) {
        ASSERT_EQ(mkdir((base + name).c_str(), 0700), 0);
        std::ofstream(base + name + "/data.mdb") << "x";
    }
    ASSERT_EQ(mkdir((base + "store-strang").c_str(), 0700), 0);
    std::ofstream(base + "store-strang/notes") << "x";
    std::ofstream(base + "store-a1b2c3") << "a file";
    ASSERT_EQ(symlink(other.Path().c_str(), (base + "store-linked").c_str()), 0);

    StoreWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    struct stat info;
    EXPECT_NE(lstat((base + "store-Abc123").c_str(), &info), 0);
    EXPECT_EQ(lstat((base + "store-strang/notes").c_str(), &info), 0);
    EXPECT_EQ(lstat((base + "store-a1b2c3").c_str(), &info), 0);
    EXPECT_EQ(lstat((base + "store-linked").c_str(), &info), 0);
    EXPECT_EQ(lstat((other.Path() + "/data.mdb").c_str(), &info), 0);
    for (const char *name : {"store-abc", "store-abc1234", "store-ab.123", "stores-abc12"})
        EXPECT_EQ(lstat((base + name + "/data.mdb").c_str(), &info), 0) << name;
}

TEST(StoreWriter, LeftoverOfAnInterruptedPublishDoesNotMatter)
{
    TestDirectory directory;
    ASSERT_EQ(symlink("nowhere", (directory.Path() + "/store.new").c_str()), 0);
    StoreWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    EXPECT_EQ(Names(directory.Path()).size(), 3u);
}

TEST(StoreWriter, PublishFailsWhereTheLinkCannotBe)
{
    TestDirectory directory;
    ASSERT_EQ(mkdir((directory.Path() + "/store").c_str(), 0700), 0);
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(writer.Publish(), EISDIR);
    writer.Close();
    EXPECT_EQ(Names(directory.Path()), (std::vector<std::string>{"alive", "store"}));
}

TEST(StoreWriter, DescriptorsAreClosedOnExec)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(PublishAll(&writer, directory.Path(), kSystem), 0);
    size_t seen = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code none;
        const std::string target = std::filesystem::read_symlink(entry.path(), none).string();
        if (target.rfind(directory.Path(), 0) != 0)
            continue;
        ++seen;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0)
            << target;
    }
    EXPECT_EQ(seen, 4u);  // data twice, lock, alive
}

// ---- transactions ----

TEST(StoreWriter, TransactionIsSeenWholeOrNotAtAll)
{
    TestDirectory directory;
    static StoreWriter *writer;
    StepProcess steps({[&] {
                           writer = new StoreWriter;
                           return PublishAll(writer, directory.Path(), {{"A", {}}, {"B", {}}});
                       },
                       [&] {
                           int rc = writer->Begin();
                           rc |= writer->Put("C", {}) | writer->Delete("A");
                           return rc;
                       },
                       [&] { return writer->Commit(); },
                       [&] {
                           int rc = writer->Begin() | writer->Put("D", {}) | writer->Delete("B");
                           writer->Abort();
                           return rc;
                       }});
    const auto keys = [&] {
        std::string all;
        for (const auto &record : ReadStoreAt(directory.Path()))
            all += record.first;
        return all;
    };
    ASSERT_EQ(steps.Run(0), 0);
    EXPECT_EQ(keys(), ".heartbeatAB");
    ASSERT_EQ(steps.Run(1), 0);
    EXPECT_EQ(keys(), ".heartbeatAB");
    ASSERT_EQ(steps.Run(2), 0);
    EXPECT_EQ(keys(), ".heartbeatBC");
    ASSERT_EQ(steps.Run(3), 0);
    EXPECT_EQ(keys(), ".heartbeatBC");
}

TEST(StoreWriter, CallsOutOfOrderAreRefused)
{
    TestDirectory directory;
    StoreWriter writer;
    EXPECT_EQ(writer.Publish(), EINVAL);
    EXPECT_EQ(writer.Heartbeat(), EINVAL);
    EXPECT_EQ(writer.Begin(), EINVAL);
    EXPECT_EQ(writer.Put("A", {}), EINVAL);
    EXPECT_EQ(writer.Delete("A"), EINVAL);
    EXPECT_EQ(writer.Commit(), EINVAL);
    writer.Abort();
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    EXPECT_EQ(writer.Put("A", {}), EINVAL);
    EXPECT_EQ(writer.Delete("A"), EINVAL);
    EXPECT_EQ(writer.Commit(), EINVAL);
    writer.Abort();
    ASSERT_EQ(writer.Begin(), 0);
    EXPECT_EQ(writer.Begin(), EBUSY);
    EXPECT_EQ(writer.Heartbeat(), EBUSY);
    EXPECT_EQ(writer.Publish(), EBUSY);
    EXPECT_EQ(writer.Put("A", {}), 0);
    EXPECT_EQ(writer.Commit(), 0);
    EXPECT_EQ(writer.Commit(), EINVAL);
}

TEST(StoreWriter, DeletingWhatIsNotThereSucceeds)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    ASSERT_EQ(writer.Begin(), 0);
    EXPECT_EQ(writer.Delete("A"), 0);
    EXPECT_EQ(writer.Commit(), 0);
}

TEST(StoreWriter, OnlyCanonicalPathsAndThePlanOfFaultsAreKeys)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path()), 0);
    const std::string longest(511, 'k');
    for (const std::string &key : {std::string("A.K=1,L=2"), std::string(".faults"), longest}) {
        ASSERT_EQ(writer.Begin(), 0);
        EXPECT_EQ(writer.Put(key, {}), 0) << key;
        EXPECT_EQ(writer.Commit(), 0);
    }
    for (const std::string &key :
         {std::string(), std::string(".heartbeat"), std::string(".x"), std::string("A."),
          std::string("A\0B", 3), std::string("A.K=1,TimestampFormat=YYYYMMDDHHMMSS"),
          longest + "k"}) {
        ASSERT_EQ(writer.Begin(), 0);
        EXPECT_EQ(writer.Put(key, {}), EINVAL) << key;
        EXPECT_EQ(writer.Commit(), EINVAL);
        ASSERT_EQ(writer.Begin(), 0);
        EXPECT_EQ(writer.Delete(key), EINVAL) << key;
        writer.Abort();
    }
}

TEST(StoreWriter, AFailedChangeFailsTheTransaction)
{
    TestDirectory directory;
    StepProcess service({[&] {
        static StoreWriter writer;
        int rc = PublishAll(&writer, directory.Path(), kSystem) | writer.Begin();
        rc |= writer.Put("A", {});
        if (rc != 0 || writer.Put(".bad", {}) != EINVAL || writer.Put("B", {}) != EINVAL ||
            writer.Delete("OEM_QARN_System") != EINVAL || writer.Commit() != EINVAL)
            return 1;
        return PutAll(&writer, {{"C", {}}});
    }});
    ASSERT_EQ(service.Run(0), 0);
    const RawRecords records = ReadStoreAt(directory.Path());
    EXPECT_EQ(records.count("A"), 0u);
    EXPECT_EQ(records.count("B"), 0u);
    EXPECT_EQ(records.count("C"), 1u);
    EXPECT_EQ(records.count("OEM_QARN_System"), 1u);
}

// ---- readers ----

static size_t ReaderSlotsInUse(MDB_env *env)
{
    size_t lines = 0;
    mdb_reader_list(
        env,
        [](const char *text, void *context) {
            *static_cast<size_t *>(context) +=
                strstr(text, "pid") == nullptr && strstr(text, "no ") == nullptr;
            return 0;
        },
        &lines);
    return lines;
}

// A process with a read transaction of its own on the store in use.
static std::vector<StepProcess::Step> ReaderSteps(const std::string &directory)
{
    static MDB_env *env;
    static MDB_txn *txn;
    return {[directory] {
        int rc = mdb_env_create(&env);
        if (rc == 0)
            rc = mdb_env_open(env, (directory + "/store").c_str(), MDB_RDONLY | MDB_NOTLS, 0600);
        return rc != 0 ? rc : mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn);
    }};
}

TEST(StoreWriter, HeartbeatGivesBackTheSlotsOfDeadReaders)
{
    TestDirectory directory;
    static StoreWriter *writer;
    StepProcess service({[&] {
                             writer = new StoreWriter;
                             return PublishAll(writer, directory.Path(), kSystem);
                         },
                         [&] { return writer->Heartbeat(); }});
    ASSERT_EQ(service.Run(0), 0);
    StepProcess reader(ReaderSteps(directory.Path()));
    ASSERT_EQ(reader.Run(0), 0);
    MDB_env *env = nullptr;
    ASSERT_EQ(mdb_env_create(&env), 0);
    ASSERT_EQ(mdb_env_open(env, (directory.Path() + "/store").c_str(), MDB_RDONLY, 0600), 0);
    unsigned readers = 0;
    EXPECT_EQ(mdb_env_get_maxreaders(env, &readers), 0);
    EXPECT_EQ(readers, 1100u);
    EXPECT_EQ(ReaderSlotsInUse(env), 1u);
    reader.Process().Kill();
    EXPECT_EQ(ReaderSlotsInUse(env), 1u);
    EXPECT_EQ(service.Run(1), 0);
    EXPECT_EQ(ReaderSlotsInUse(env), 0u);
    mdb_env_close(env);
}

static constexpr size_t kSmallMap = 64 * 4096;

// A text that is another one at every turn, so that every write takes new pages.
static Records Turn(int turn)
{
    return {{"OEM_QARN_System", Texts({{"Turn", std::to_string(turn)}})},
            {"Filler", Texts({{"Text", std::string(1000, static_cast<char>('a' + turn % 26))}})}};
}

TEST(StoreWriter, StoppedReaderDoesNotStopTheWriter)
{
    TestDirectory directory;
    static StoreWriter *writer;
    StepProcess service({[&] {
                             writer = new StoreWriter;
                             return PublishAll(writer, directory.Path(), Turn(0), kSmallMap);
                         },
                         [&] {
                             for (int turn = 1; turn <= 200; ++turn) {
                                 const int rc = PutAll(writer, Turn(turn));
                                 if (rc != 0)
                                     return rc;
                             }
                             return 0;
                         }});
    ASSERT_EQ(service.Run(0), 0);
    const std::string first = LinkTarget(directory.Path());
    StepProcess reader(ReaderSteps(directory.Path()));
    ASSERT_EQ(reader.Run(0), 0);
    reader.Process().Stop();
    ASSERT_EQ(service.Run(1), 0);
    EXPECT_NE(LinkTarget(directory.Path()), first);
    EXPECT_EQ(CountStores(directory.Path()), 1u);
    const RawRecords records = ReadStoreAt(directory.Path());
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records.at("OEM_QARN_System"), StorePack(Texts({{"Turn", "200"}})));
    u64 beat = 0;
    memcpy(&beat, records.at(".heartbeat").data(), 8);
    EXPECT_LE(MonotonicMs() - beat, 3000u);
}

TEST(StoreWriter, HeartbeatRebuildsAFullStore)
{
    TestDirectory directory;
    static StoreWriter *writer;
    StepProcess service({[&] {
                             writer = new StoreWriter;
                             return PublishAll(writer, directory.Path(), Turn(7), kSmallMap);
                         },
                         [&] {
                             for (int turn = 0; turn < 100; ++turn) {
                                 usleep(1100);  // a heartbeat of the same millisecond is no write
                                 const int rc = writer->Heartbeat();
                                 if (rc != 0)
                                     return rc;
                             }
                             return 0;
                         }});
    ASSERT_EQ(service.Run(0), 0);
    const std::string first = LinkTarget(directory.Path());
    const u32 count = CountIn(directory.Path());
    StepProcess reader(ReaderSteps(directory.Path()));
    ASSERT_EQ(reader.Run(0), 0);
    reader.Process().Stop();
    ASSERT_EQ(service.Run(1), 0);
    EXPECT_NE(LinkTarget(directory.Path()), first);
    EXPECT_GT(CountIn(directory.Path()), count);
    EXPECT_EQ(ReadStoreAt(directory.Path()).at("OEM_QARN_System"),
              StorePack(Texts({{"Turn", "7"}})));
}

// The last page is taken by a change in some of these stores and by the commit in others.
TEST(StoreWriter, StoreMayFillUpAtAnyPoint)
{
    for (size_t pages = 32; pages < 44; ++pages) {
        TestDirectory directory;
        static StoreWriter *writer;
        StepProcess service({[&] {
                                 writer = new StoreWriter;
                                 return PublishAll(writer, directory.Path(), Turn(0), pages * 4096);
                             },
                             [&] {
                                 int rc = 0;
                                 for (int turn = 1; rc == 0 && turn <= 40; ++turn)
                                     rc = PutAll(writer, {Turn(turn)[0]});
                                 return rc;
                             }});
        ASSERT_EQ(service.Run(0), 0);
        StepProcess reader(ReaderSteps(directory.Path()));
        ASSERT_EQ(reader.Run(0), 0);
        reader.Process().Stop();
        EXPECT_EQ(service.Run(1), 0) << pages;
        EXPECT_EQ(ReadStoreAt(directory.Path()).at("OEM_QARN_System"),
                  StorePack(Texts({{"Turn", "40"}})));
    }
}

// The store fills up while the transaction is open: all of it is repeated in the new one.
TEST(StoreWriter, RebuildInTheMiddleOfATransactionLosesNothing)
{
    TestDirectory directory;
    static StoreWriter *writer;
    StepProcess service({[&] {
                             writer = new StoreWriter;
                             Records records = Turn(0);
                             records.push_back({"Old", {}});
                             return PublishAll(writer, directory.Path(), records, kSmallMap);
                         },
                         [&] {
                             for (int turn = 1; LinkTarget(directory.Path()) != ""; ++turn) {
                                 const std::string store = LinkTarget(directory.Path());
                                 int rc = writer->Begin() | writer->Delete("Old");
                                 for (int i = 0; i < 8; ++i)
                                     rc |= writer->Put("N.I=" + std::to_string(i),
                                                       Turn(turn)[1].second);
                                 if (rc != 0)
                                     return rc;
                                 const bool rebuilt = LinkTarget(directory.Path()) != store;
                                 if (rebuilt && turn == 1)
                                     return -2;
                                 if ((rc = writer->Put("Last", {})) != 0)
                                     return rc;
                                 if (rebuilt && (rc = writer->Put("Inside", {})) != 0)
                                     return rc;
                                 if ((rc = writer->Commit()) != 0 || rebuilt)
                                     return rc;
                             }
                             return -3;
                         }});
    ASSERT_EQ(service.Run(0), 0);
    StepProcess reader(ReaderSteps(directory.Path()));
    ASSERT_EQ(reader.Run(0), 0);
    reader.Process().Stop();
    ASSERT_EQ(service.Run(1), 0);
    const RawRecords records = ReadStoreAt(directory.Path());
    EXPECT_EQ(records.count("Old"), 0u);
    EXPECT_EQ(records.count("Last"), 1u);
    EXPECT_EQ(records.count("Inside"), 1u);
    EXPECT_EQ(records.count("Filler"), 1u);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(records.count("N.I=" + std::to_string(i)), 1u);
    EXPECT_EQ(records.size(), 13u);
}

TEST(StoreWriter, WhatDoesNotFitIsRefusedAndTheRestStays)
{
    TestDirectory directory;
    StepProcess service({[&] {
        static StoreWriter writer;
        int rc = PublishAll(&writer, directory.Path(), kSystem, kSmallMap);
        rc |= writer.Begin();
        int failed = 0;
        for (int i = 0; rc == 0 && failed == 0 && i < 1000; ++i)
            failed = writer.Put("N.I=" + std::to_string(i), Turn(0)[1].second);
        if (rc != 0 || failed != ENOSPC || writer.Commit() != ENOSPC)
            return 1;
        return PutAll(&writer, {{"After", {}}}) | writer.Heartbeat();
    }});
    ASSERT_EQ(service.Run(0), 0);
    const RawRecords records = ReadStoreAt(directory.Path());
    EXPECT_EQ(records.size(), 3u);
    EXPECT_EQ(records.count("After"), 1u);
    EXPECT_EQ(records.count("OEM_QARN_System"), 1u);
    EXPECT_EQ(CountStores(directory.Path()), 1u);
}

TEST(StoreWriter, FullStoreIsRebuiltBeforePublishToo)
{
    TestDirectory directory;
    StoreWriter writer;
    ASSERT_EQ(writer.Open(directory.Path(), kSmallMap), 0);
    ASSERT_EQ(writer.Begin(), 0);
    int failed = 0;
    for (int i = 0; failed == 0 && i < 1000; ++i)
        failed = writer.Put("N.I=" + std::to_string(i), Turn(0)[1].second);
    EXPECT_EQ(failed, ENOSPC);
    EXPECT_EQ(LinkTarget(directory.Path()), "");
    writer.Abort();
    EXPECT_EQ(PutAll(&writer, kSystem), 0);
    EXPECT_EQ(writer.Publish(), 0);
    EXPECT_EQ(CountStores(directory.Path()), 1u);
}

TEST(StoreWriter, UnchangedRecordsTakeNoPages)
{
    TestDirectory directory;
    static StoreWriter *writer;
    StepProcess service({[&] {
                             writer = new StoreWriter;
                             return PublishAll(writer, directory.Path(), Turn(0), kSmallMap);
                         },
                         [&] {
                             int rc = 0;
                             for (int i = 0; rc == 0 && i < 500; ++i)
                                 rc = PutAll(writer, Turn(0));
                             return rc;
                         }});
    ASSERT_EQ(service.Run(0), 0);
    const std::string first = LinkTarget(directory.Path());
    StepProcess reader(ReaderSteps(directory.Path()));
    ASSERT_EQ(reader.Run(0), 0);
    ASSERT_EQ(service.Run(1), 0);
    EXPECT_EQ(LinkTarget(directory.Path()), first);
}
