/** Lets accesses wait without ever blocking the server, and lets signals end their waiting. */
#pragma once

#define FUSE_USE_VERSION 35

#include "terminal/model/faults.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <fuse3/fuse_lowlevel.h>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kt::terminal {

/** Threads: any. */
class gate {
public:
    /** Goes on with an access: with 0, or with the errno it ends with. Called once. */
    using step = std::function<void(int error)>;

    explicit gate(faults& rules);

    /** Ends what still waits with EIO. */
    ~gate();
    gate(const gate&) = delete;
    gate& operator=(const gate&) = delete;

    /** Lets an access wait as @p ruled; a signal ends the waiting with EINTR. */
    void hold(fuse_req_t asked, const verdict& ruled, step go);

    /**
     * For an access that waits elsewhere: @p interrupted is called once, from the worker, when a signal wants it to
     * end. Returns the number by which it is forgotten. The access must not be answered meanwhile.
     */
    std::uint64_t watch(fuse_req_t asked, std::function<void()> interrupted);
    void forget(std::uint64_t number);

    /** The libfuse callback's way back. */
    void interrupt(std::uint64_t number);

private:
    using clock = std::chrono::steady_clock;

    struct waiting {
        clock::time_point due;
        verdict ruled;
        bool interrupted = false;
        bool armed = false; /**< The request can be interrupted, so it may be answered. */
        step go;
    };

    struct watched {
        bool interrupted = false;
        std::function<void()> tell;
    };

    void start_worker();
    std::vector<std::function<void()>> take_interrupted();
    void work();

    /** What wakes the worker; a rule may just be taken back while the gate goes. */
    struct bell {
        std::mutex mutex;
        std::condition_variable changed;
    };

    faults& rules_;
    const std::shared_ptr<bell> bell_ = std::make_shared<bell>();
    std::mutex& mutex_ = bell_->mutex;
    std::condition_variable& changed_ = bell_->changed;
    std::map<std::uint64_t, waiting> waiting_;
    std::map<std::uint64_t, watched> watched_;
    int interrupted_ = 0; // of those watched
    std::uint64_t last_number_ = 0;
    bool stopping_ = false;
    std::thread worker_;
};

} // namespace kt::terminal
