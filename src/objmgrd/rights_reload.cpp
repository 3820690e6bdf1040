// SPDX-License-Identifier: Apache-2.0
// rights_reload.cpp -- see rights_reload.h.
#include "objmgrd/rights_reload.h"

#include <mutex>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

// The thread may outlive the object.
struct RightsReload::Shared {
    std::string file;
    int signal;
    std::mutex mutex;
    bool running = false;
    bool again = false;
    bool abandoned = false;
    std::optional<Outcome> outcome;
};

RightsReload::RightsReload(std::string file, int signal) : shared_(std::make_shared<Shared>())
{
    shared_->file = std::move(file);
    shared_->signal = signal;
}

RightsReload::~RightsReload()
{
    const std::lock_guard lock(shared_->mutex);
    shared_->abandoned = true;
}

void *RightsReload::Read(void *argument)
{
    const std::unique_ptr<std::shared_ptr<Shared>> mine(
        static_cast<std::shared_ptr<Shared> *>(argument));
    Shared &shared = **mine;
    for (;;) {
        Outcome outcome;
        Rights rights;
        if (RightsRead(shared.file, &rights, &outcome.notes))
            outcome.rights = std::move(rights);
        const std::lock_guard lock(shared.mutex);
        if (shared.abandoned)
            return nullptr;
        if (!shared.again) {
            shared.outcome = std::move(outcome);
            shared.running = false;
            kill(getpid(), shared.signal);
            return nullptr;
        }
        shared.again = false;
    }
}

int RightsReload::Begin()
{
    const std::lock_guard lock(shared_->mutex);
    if (shared_->running) {
        shared_->again = true;
        return 0;
    }
    // Signals are for the serving thread.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    auto *mine = new std::shared_ptr<Shared>(shared_);
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, Read, mine);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0) {
        delete mine;
        return error;
    }
    pthread_detach(thread);
    shared_->running = true;
    return 0;
}

std::optional<RightsReload::Outcome> RightsReload::Take()
{
    const std::lock_guard lock(shared_->mutex);
    std::optional<Outcome> taken = std::move(shared_->outcome);
    shared_->outcome.reset();
    return taken;
}
