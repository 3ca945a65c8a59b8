#pragma once

#include "Companion/ProcessRunner.h"

#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <vector>

namespace Companion {

/// Readable commands in test failures.
inline void PrintTo(const ProcessCommand& command, std::ostream* out) {
    *out << '[' << command.program;
    for (const auto& argument : command.arguments) {
        *out << " \"" << argument << '"';
    }
    *out << " output=" << static_cast<int>(command.output);
    if (command.input) {
        *out << " input=\"" << *command.input << '"';
    }
    if (command.timeout) {
        *out << " timeout=" << command.timeout->count() << "ms";
    }
    if (command.argv0) {
        *out << " argv0=\"" << *command.argv0 << '"';
    }
    if (command.environment) {
        *out << " environment={";
        for (const auto& entry : *command.environment) {
            *out << " \"" << entry << '"';
        }
        *out << " }";
    }
    if (command.outputTail) {
        *out << " outputTail=" << *command.outputTail;
    }
    *out << ']';
}

} // namespace Companion

namespace TestSupport {

/// A process runner that runs nothing: it records every command exactly and answers from a function
/// the test sets. Safe to use from worker threads.
class FakeProcessRunner final : public Companion::ProcessRunner {
public:
    using Answer = std::function<Companion::ProcessResult(const Companion::ProcessCommand&)>;

    /// What a started long-lived child went through.
    struct StartedProcess {
        Companion::ProcessCommand command;
        int terminations = 0;
        bool destroyed = false;
    };

    /// Every blocking run finishes with exit status 0 and no output until told otherwise.
    FakeProcessRunner() = default;

    /// Answers every later blocking run; called with the runner's lock held.
    void setAnswer(Answer answer) {
        std::lock_guard lock(m_mutex);
        m_answer = std::move(answer);
    }

    /// Every later blocking run gets this result.
    void setResult(Companion::ProcessResult result) {
        setAnswer([result](const Companion::ProcessCommand&) { return result; });
    }

    /// Whether `startDetached` reports a launch.
    void setDetachedLaunches(bool launches) {
        std::lock_guard lock(m_mutex);
        m_detachedLaunches = launches;
    }

    /// Whether children from `start` report themselves running.
    void setStartedRun(bool run) {
        std::lock_guard lock(m_mutex);
        m_startedRun = run;
    }

    std::vector<Companion::ProcessCommand> runs() const {
        std::lock_guard lock(m_mutex);
        return m_runs;
    }

    std::vector<Companion::ProcessCommand> detached() const {
        std::lock_guard lock(m_mutex);
        return m_detached;
    }

    std::vector<StartedProcess> started() const {
        std::lock_guard lock(*m_handleMutex);
        std::vector<StartedProcess> copies;
        for (const auto& process : m_started) {
            copies.push_back(*process);
        }
        return copies;
    }

    std::unique_ptr<Companion::RunningProcess> start(const Companion::ProcessCommand& command) override {
        std::scoped_lock lock(m_mutex, *m_handleMutex);
        auto record = std::make_shared<StartedProcess>(StartedProcess{command});
        m_started.push_back(record);
        return std::make_unique<Handle>(record, m_startedRun, m_handleMutex);
    }

    bool startDetached(const Companion::ProcessCommand& command) override {
        std::lock_guard lock(m_mutex);
        m_detached.push_back(command);
        return m_detachedLaunches;
    }

protected:
    Companion::ProcessResult execute(const Companion::ProcessCommand& command, std::stop_token) override {
        std::lock_guard lock(m_mutex);
        m_runs.push_back(command);
        return m_answer ? m_answer(command) : Companion::ProcessResult{};
    }

private:
    class Handle final : public Companion::RunningProcess {
    public:
        Handle(std::shared_ptr<StartedProcess> record, bool runs, std::shared_ptr<std::mutex> mutex)
            : m_record(std::move(record))
            , m_runs(runs)
            , m_mutex(std::move(mutex)) {}
        ~Handle() override {
            std::lock_guard lock(*m_mutex);
            m_record->destroyed = true;
        }
        bool isRunning() const override { return m_runs; }
        std::optional<long long> processId() const override { return std::nullopt; }
        void terminate() override {
            std::lock_guard lock(*m_mutex);
            ++m_record->terminations;
        }

    private:
        std::shared_ptr<StartedProcess> m_record;
        bool m_runs;
        std::shared_ptr<std::mutex> m_mutex;
    };

    mutable std::mutex m_mutex;
    /// Guards the records, which handles may touch after the runner is gone.
    std::shared_ptr<std::mutex> m_handleMutex = std::make_shared<std::mutex>();
    Answer m_answer;
    bool m_detachedLaunches = true;
    bool m_startedRun = true;
    std::vector<Companion::ProcessCommand> m_runs;
    std::vector<Companion::ProcessCommand> m_detached;
    std::vector<std::shared_ptr<StartedProcess>> m_started;
};

/// A result with an exit status and output.
inline Companion::ProcessResult exited(int code, std::string output = {}) {
    Companion::ProcessResult result;
    result.exitCode = code;
    result.output = std::move(output);
    return result;
}

} // namespace TestSupport
