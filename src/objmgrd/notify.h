// SPDX-License-Identifier: Apache-2.0
// notify.h -- tells the init system that started the service how it is: the datagrams of
// sd_notify(3), without the library.
#ifndef OBJMGRD_NOTIFY_H
#define OBJMGRD_NOTIFY_H

#include "platform/types.h"

#include <string>

class Notify
{
public:
    Notify() = default;
    ~Notify();
    Notify(const Notify &) = delete;
    Notify &operator=(const Notify &) = delete;

    // Takes NOTIFY_SOCKET (a path, or "@" and an abstract name), WATCHDOG_USEC and WATCHDOG_PID out
    // of the environment, so that no child takes them for its own. Without the first everything
    // below does nothing. Call it before there are threads.
    void Open();

    // Told again with each call of Watchdog until the init system takes it: without it the service
    // would be ended as one that does not start.
    void Ready();
    void Stopping();
    // One line for whoever asks how the service is; told again as readiness is.
    void Status(const std::string &text);
    // The service works: sent when half of the time that the watchdog gives is over, so call it
    // more often than that. One that the init system does not take is sent again by the next call.
    void Watchdog(u64 nowMs);
    // How often the watchdog wants to hear at the least, milliseconds; 0: there is none.
    u32 WatchdogMs() const { return watchdogMs_; }

private:
    bool Send(const std::string &text);

    int fd_ = -1;
    bool readyUntold_ = false;
    std::string statusUntold_;
    u32 watchdogMs_ = 0;
    u64 watchdogFrom_ = 0;
};

#endif
