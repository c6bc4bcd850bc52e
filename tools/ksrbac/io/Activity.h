#ifndef KSRBAC_IO_ACTIVITY_H
#define KSRBAC_IO_ACTIVITY_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "io/Console.h"

namespace ksrbac {

/// Tells somebody at a terminal that the program is still at work, whatever it waits for: what it does and
/// for how long, in a line on standard error from one second after the beginning to the end, unless a
/// `Progress` says more. Does nothing without a terminal there. One at a time; a thread shows the line.
class Activity {
public:
    static constexpr std::chrono::milliseconds BEFORE_FIRST{1200}; ///< `Progress` comes before it

    /// What is done at first is named on the console before. The console must outlive it.
    explicit Activity(Console& console, std::chrono::milliseconds silence = BEFORE_FIRST);
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;
    ~Activity();

    /// During its lifetime the terminal belongs to somebody else: to a person who types, or to another
    /// program.
    class Pause {
    public:
        Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
        ~Pause();
    };

private:
    void show(std::chrono::milliseconds silence);

    Console& console_;
    std::condition_variable ending_;
    bool isEnding_ = false;
    std::thread thread_; ///< last: it uses the others
};

} // namespace ksrbac

#endif
