#pragma once

#include <QObject>
#include <QThreadPool>

#include <functional>
#include <stop_token>

namespace Companion {

/// Runs blocking jobs (child processes) one after the other on a thread of its own, so the owner's
/// thread never waits for them, and hands their results back to the owner's thread.
///
/// The owner calls `shutDown` first thing in its destructor: running jobs are asked to stop and
/// waited for, so a job may use its owner plainly.
class SerialWorker {
public:
    /// `owner` receives the published changes on its own thread.
    explicit SerialWorker(QObject& owner);
    SerialWorker(const SerialWorker&) = delete;
    SerialWorker& operator=(const SerialWorker&) = delete;
    ~SerialWorker();

    /// Runs `job` after every job enqueued before it; a job still waiting when a stop is asked for is
    /// skipped.
    void enqueue(std::function<void(std::stop_token)> job);

    /// Runs `change` on the owner's thread later; dropped when the owner is gone by then.
    void publish(std::function<void()> change);

    /// Asks the running job to stop, skips the waiting ones and returns once none runs. Idempotent.
    void shutDown();

private:
    QObject& m_owner;
    std::stop_source m_stop;
    QThreadPool m_pool;
};

} // namespace Companion
