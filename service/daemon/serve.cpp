#include "daemon/serve.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include "accesscontrol/AccessControl.h"
#include "console/ProgressBar.h"
#include "daemon/ServiceLock.h"
#include "daemon/Watchdog.h"
#include "daemon/run_program.h"
#include "daemon/service_manager.h"
#include "database/schema.h"
#include "files/PosixFileSystem.h"
#include "monitor/DatabaseWatch.h"
#include "monitor/Monitor.h"
#include "resources/Router.h"

namespace keepsafe_service {

namespace {

/// From the signal on, for whatever the service is doing. Longer than the listener waits for its requests.
constexpr std::chrono::milliseconds TIME_TO_END{1700};

/// The signals that ask the service to end. Threads that are made while it lives are not interrupted by them.
class EndSignals {
public:
    EndSignals()
    {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGTERM);
        sigaddset(&signals_, SIGINT);
        const int error = ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
        if (error != 0) {
            throw std::runtime_error(std::string("cannot block signals: ") + std::strerror(error));
        }
    }

    void wait() const
    {
        int signal = 0;
        while (::sigwait(&signals_, &signal) != 0) {
        }
    }

    /// Acts as if one of them had arrived.
    static void raise() { ::kill(::getpid(), SIGTERM); }

private:
    sigset_t signals_{};
};

/// Passes the wish to end on to the service, whatever state it is in.
class End {
public:
    void ask()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isAsked_ = true;
        if (stop_) {
            stop_();
        }
    }

    [[nodiscard]] const std::atomic<bool>& isAsked() const noexcept { return isAsked_; }

    /// What `ask` does besides, until it is set to nothing.
    void setStop(std::function<void()> stop)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = std::move(stop);
        if (isAsked_ && stop_) {
            stop_();
        }
    }

private:
    std::mutex mutex_;
    std::atomic<bool> isAsked_ = false;
    std::function<void()> stop_;
};

/// Ends the process without waiting for what is going on, as a kill does. Standard error may be a pipe that
/// nobody reads: then nothing is said.
[[noreturn]] void endUnfinished()
{
    const std::string message =
        std::string(program_invocation_short_name) + ": ended while requests were being carried out\n";
    pollfd errors = {STDERR_FILENO, POLLOUT, 0};
    if (::poll(&errors, 1, 0) == 1 && (errors.revents & POLLOUT) != 0) {
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, message.data(), message.size());
    }
    std::_Exit(EXIT_REFUSED);
}

/// What answers the requests, once it is there, and counts them.
class Answers {
public:
    [[nodiscard]] RequestAnswerer answerer()
    {
        return {[this](const ServiceRequest& request) { return answer(request); }, Router::mostBodyBytes};
    }

    void begin(AccessControl& accessControl) { router_.emplace(accessControl); }

    [[nodiscard]] const RequestFigures& figures() const noexcept { return figures_; }

private:
    ServiceResponse answer(const ServiceRequest& request)
    {
        const auto begin = std::chrono::steady_clock::now();
        ServiceResponse response = router_->answer(request);
        figures_.count(router_->resourceOf(request.target), request.method, response.status,
                       std::chrono::steady_clock::now() - begin);
        return response;
    }

    std::optional<Router> router_;
    RequestFigures figures_;
};

/// What monitoring sees of the service, from the start on; nothing without an address for it.
class Monitoring {
public:
    Monitoring(const ServiceSettings& settings, const HttpServer& server, const RequestFigures& requests)
    {
        if (settings.monitor) {
            monitor_.emplace(*settings.monitor,
                             ServiceFigures{server, control_, requests, health_,
                                            std::chrono::system_clock::now(), settings.version});
        }
    }

    [[nodiscard]] ControlFigures& control() noexcept { return control_; }

    /// Clients are answered.
    void begin(const ServiceSettings& settings)
    {
        health_.enter(ServiceHealth::Phase::Serving);
        if (monitor_) {
            watch_.emplace(settings.database, health_);
        }
    }
    void end() noexcept { health_.enter(ServiceHealth::Phase::Ending); }

private:
    ControlFigures control_;
    ServiceHealth health_{control_};
    std::optional<Monitor> monitor_;
    std::optional<DatabaseWatch> watch_;
};

/// While it lives the listener stops when the service is to end.
class StopsListener {
public:
    StopsListener(End& end, HttpsListener& listener, Monitoring& monitoring) : end_(end)
    {
        end_.setStop([&] {
            monitoring.end();
            listener.stop();
        });
    }
    ~StopsListener() { end_.setStop({}); }
    StopsListener(const StopsListener&) = delete;
    StopsListener& operator=(const StopsListener&) = delete;

private:
    End& end_;
};

void run(const ServiceSettings& settings, const CacheLocation& location, End& end)
{
    Answers answers;
    HttpsListener listener(settings.address, settings.tls, answers.answerer());
    Monitoring monitoring(settings, listener, answers.figures());

    Database database(settings.database);
    ensureSchema(database,
                 settings.database.onConnect.empty() ? SchemaOrigin::Create : SchemaOrigin::Attached);
    PosixFileSystem fileSystem;
    std::optional<ProgressBar> bar(std::in_place);
    std::string told;
    const auto tell = [&](const std::string& work, std::uint64_t done, std::uint64_t total) {
        bar->show(work, done, total);
        if (work != told) {
            told = work;
            mentionToServiceManager("STATUS=" + work);
        }
    };
    AccessControl accessControl(
        database, fileSystem, location,
        {{settings.longestLockWait, &end.isAsked()}, {}, tell, &monitoring.control()});
    bar.reset();
    if (end.isAsked()) {
        return;
    }
    answers.begin(accessControl);

    std::cout << "listening on https://" << settings.address.text() << '\n';
    flushOutput();
    monitoring.begin(settings);
    tellServiceManager("READY=1");
    mentionToServiceManager("STATUS=listening on https://" + settings.address.text());
    std::optional<Watchdog> watchdog;
    if (const auto period = watchdogPeriod()) {
        watchdog.emplace(*period, [&listener] { return listener.hasMadeProgress(); });
    }
    const StopsListener stopsListener(end, listener, monitoring);
    if (!listener.run()) {
        endUnfinished();
    }
}

} // namespace

void serve(const ServiceSettings& settings)
{
    const EndSignals signals;
    const CacheLocation location(settings.root, SERVICE_CACHE_ID);
    const ServiceLock lock(location, "the service");
    End end;
    std::future<void> running = std::async(std::launch::async, [&] {
        try {
            run(settings, location, end);
        } catch (...) {
            EndSignals::raise();
            throw;
        }
    });
    signals.wait();
    mentionToServiceManager("STOPPING=1");
    end.ask();
    if (running.wait_for(TIME_TO_END) != std::future_status::ready) {
        endUnfinished();
    }
    running.get();
}

} // namespace keepsafe_service
