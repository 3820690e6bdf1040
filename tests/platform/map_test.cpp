// SPDX-License-Identifier: Apache-2.0
// map_test.cpp -- process set-up.
#include "platform/map.h"

#include "platform/memmgr.h"
#include "platform/trace.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// The exit status of a process of its own that runs `body`; -1 when it crashed.
int InChild(const std::function<int()> &body)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

u32 InitAs(const char *name)
{
    std::string text = name;
    char *argv[] = {text.data(), nullptr};
    return MapInit(1, argv);
}

bool IsDevNull(int fd)
{
    struct stat mine;
    struct stat null;
    return fstat(fd, &mine) == 0 && stat("/dev/null", &null) == 0 && mine.st_rdev == null.st_rdev &&
           S_ISCHR(mine.st_mode);
}

TEST(MapInit, ProgramWithANameIsFine)
{
    EXPECT_EQ(InitAs("smclp"), 0u);
    EXPECT_EQ(MapUninit(), 0u);
    EXPECT_EQ(InitAs("/usr/bin/smclp"), 0u);
    EXPECT_EQ(MapUninit(), 0u);
}

TEST(MapInit, WithoutAProgramNameItFails)
{
    char *none[] = {nullptr};
    EXPECT_EQ(MapInit(0, none), 1u);
    EXPECT_EQ(MapInit(1, none), 1u);
    EXPECT_EQ(MapInit(1, nullptr), 1u);
    EXPECT_EQ(InitAs(""), 1u);
}

TEST(MapInit, MissingStandardDescriptorsAreOpenedOnTheNullDevice)
{
    EXPECT_EQ(InChild([] {
                  close(0);
                  close(1);
                  close(2);
                  if (InitAs("smclp") != 0)
                      return 1;
                  if (!IsDevNull(0) || !IsDevNull(1) || !IsDevNull(2))
                      return 2;
                  // The next file is none of the three.
                  return open("/dev/null", O_RDONLY) > 2 ? 0 : 3;
              }),
              0);
}

TEST(MapInit, OneMissingDescriptorIsFilledAndTheOthersStay)
{
    for (int missing : {0, 1, 2}) {
        EXPECT_EQ(InChild([missing] {
                      int pipes[2];
                      if (pipe(pipes) != 0)
                          return 1;
                      for (int fd : {0, 1, 2})
                          dup2(pipes[1], fd);
                      close(missing);
                      if (InitAs("smclp") != 0)
                          return 2;
                      for (int fd : {0, 1, 2}) {
                          if (IsDevNull(fd) != (fd == missing))
                              return 3;
                      }
                      return 0;
                  }),
                  0)
            << missing;
    }
}

TEST(MapUninit, GivesThePoolsBack)
{
    ASSERT_EQ(InitAs("smclp"), 0u);
    ASSERT_EQ(MemMgrAddPool(4, 1), 0u);
    EXPECT_EQ(MapUninit(), 0u);
    EXPECT_EQ(MemMgrAlloc(4), nullptr);
}

TEST(MapUninit, ClosesTheTraceSoThatALaterOneChoosesAnew)
{
    char first[] = "/tmp/map-test-XXXXXX";
    char second[] = "/tmp/map-test-XXXXXX";
    close(mkstemp(first));
    close(mkstemp(second));
    setenv("ZORTRACE", first, 1);
    TraceLogMessage(8, "ERROR: %s [%d]: one\n", "map", 1);
    setenv("ZORTRACE", second, 1);
    EXPECT_EQ(MapUninit(), 0u);
    TraceLogMessage(8, "ERROR: %s [%d]: two\n", "map", 2);
    MapUninit();
    unsetenv("ZORTRACE");

    struct stat status = {};
    EXPECT_EQ(stat(first, &status), 0);
    EXPECT_EQ(status.st_size, 20);
    EXPECT_EQ(stat(second, &status), 0);
    EXPECT_EQ(status.st_size, 20);
    unlink(first);
    unlink(second);
}

}  // namespace
