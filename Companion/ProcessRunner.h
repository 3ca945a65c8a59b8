#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace Companion {

/// One external program to run: an absolute path and its arguments, never a shell line.
struct ProcessCommand {
    /// Where the child's standard output and standard error go.
    enum class Output {
        /// Both to the null device.
        discard,
        /// Output to a pipe that is read; errors to the null device.
        capture,
        /// Output and errors into one pipe that is read.
        captureMerged,
        /// Both shared with this process.
        inherit,
    };

    ProcessCommand() = default;
    ProcessCommand(std::string program, std::vector<std::string> arguments, Output output = Output::discard)
        : program(std::move(program))
        , arguments(std::move(arguments))
        , output(output) {}

    std::string program;
    std::vector<std::string> arguments;
    Output output = Output::discard;
    /// Written to the child's standard input, which is then closed. Without it the child reads the
    /// null device (or, for `Output::inherit`, this process's input).
    std::optional<std::string> input;
    /// After this long the child is sent the terminate signal and the run counts as timed out.
    std::optional<std::chrono::milliseconds> timeout;
    /// The child's whole environment, as "NAME=value" entries; without it the child inherits this
    /// process's.
    std::optional<std::vector<std::string>> environment;
    /// The child's argv[0] (a login shell's name, as sshd gives it); `program` without it. Not
    /// honoured by `startDetached`.
    std::optional<std::string> argv0;
    /// Only this many bytes of the end of the captured output are kept, so a child that prints a
    /// lot (a log tool over a long window) costs no more memory than that.
    std::optional<std::size_t> outputTail;

    bool operator==(const ProcessCommand&) const = default;
};

/// How a run ended.
struct ProcessResult {
    enum class Status { finished, failedToStart, crashed, timedOut, cancelled };

    Status status = Status::finished;
    /// Meaningful only when `status` is `finished`.
    int exitCode = 0;
    /// The captured bytes (empty unless the command asked for them).
    std::string output;
    /// The system's description of a launch failure.
    std::string error;

    /// Finished with exit status 0.
    bool succeeded() const { return status == Status::finished && exitCode == 0; }

    bool operator==(const ProcessResult&) const = default;
};

/// A child that runs until it is ended: terminated on `terminate()` and at the latest when the
/// handle is destroyed.
class RunningProcess {
public:
    virtual ~RunningProcess() = default;

    /// Whether the child was started and has not ended yet.
    virtual bool isRunning() const = 0;
    /// The child's process id while it runs.
    virtual std::optional<long long> processId() const = 0;
    /// Sends the terminate signal (if the child runs at all); does not wait for the end.
    virtual void terminate() = 0;
};

/// Starts external programs. Tests replace it to check each argument list exactly or to stand in
/// harmless programs; the real one is `QtProcessRunner`. Every operation may be called from any
/// thread.
class ProcessRunner {
public:
    virtual ~ProcessRunner() = default;

    /// Runs to the end, blocking the caller.
    ProcessResult run(const ProcessCommand& command) { return execute(command, {}); }
    /// Runs to the end, blocking the caller; a stop request terminates the child early.
    ProcessResult run(const ProcessCommand& command, std::stop_token stop) { return execute(command, stop); }

    /// Starts a long-lived child. Always gives a handle, one that never ran when the launch failed.
    virtual std::unique_ptr<RunningProcess> start(const ProcessCommand& command) = 0;

    /// Starts a child that outlives this process (a terminal window, a browser) and does not wait for
    /// it. False when it cannot be launched.
    virtual bool startDetached(const ProcessCommand& command) = 0;

protected:
    virtual ProcessResult execute(const ProcessCommand& command, std::stop_token stop) = 0;
};

} // namespace Companion
