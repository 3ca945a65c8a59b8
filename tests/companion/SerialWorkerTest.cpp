#include "Companion/SerialWorker.h"

#include "support/Patience.h"

#include <QCoreApplication>
#include <QObject>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>
#include <vector>

namespace {

using Companion::SerialWorker;

constexpr int generousWait = TestSupport::generousMilliseconds;

/// An owner as the companion's objects are: the worker is a member, shut down first thing in the
/// destructor.
class Owner : public QObject {
public:
    ~Owner() override { worker.shutDown(); }
    SerialWorker worker{*this};
};

/// Holds a job until the job is asked to stop, and says whether it was.
class Gate {
public:
    void holdUntilStopped(const std::stop_token& stop) {
        std::unique_lock lock(m_mutex);
        m_entered = true;
        std::condition_variable_any().wait(lock, stop, [] { return false; });
        m_stopSeen = stop.stop_requested();
    }
    bool entered() const {
        std::lock_guard lock(m_mutex);
        return m_entered;
    }
    bool stopSeen() const {
        std::lock_guard lock(m_mutex);
        return m_stopSeen;
    }

private:
    mutable std::mutex m_mutex;
    bool m_entered = false;
    bool m_stopSeen = false;
};

/// Runs the owner's loop until everything queued to it before this call has been delivered.
bool deliverWhatIsQueued() {
    bool reached = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&reached] { reached = true; }, Qt::QueuedConnection);
    return QTest::qWaitFor([&] { return reached; }, generousWait);
}

} // namespace

TEST(SerialWorkerTest, RunsJobsOneAtATimeInTheOrderTheyWereEnqueued) {
    Owner owner;
    std::mutex mutex;
    std::vector<int> order;
    std::atomic<int> running = 0;
    std::atomic<bool> overlapped = false;
    bool done = false;
    constexpr int jobs = 20;
    for (int i = 0; i < jobs; ++i) {
        owner.worker.enqueue([&, i](std::stop_token) {
            overlapped = overlapped || running.fetch_add(1) != 0;
            {
                std::lock_guard lock(mutex);
                order.push_back(i);
            }
            running.fetch_sub(1);
            if (i == jobs - 1) {
                owner.worker.publish([&done] { done = true; });
            }
        });
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return done; }, generousWait));
    std::vector<int> expected;
    for (int i = 0; i < jobs; ++i) {
        expected.push_back(i);
    }
    std::lock_guard lock(mutex);
    EXPECT_EQ(order, expected);
    EXPECT_FALSE(overlapped);
}

TEST(SerialWorkerTest, RunsJobsOffTheOwnersThreadAndPublishesOnIt) {
    Owner owner;
    QThread* jobThread = nullptr;
    QThread* publishThread = nullptr;
    owner.worker.enqueue([&](std::stop_token) {
        jobThread = QThread::currentThread();
        owner.worker.publish([&] { publishThread = QThread::currentThread(); });
    });
    ASSERT_TRUE(QTest::qWaitFor([&] { return publishThread != nullptr; }, generousWait));
    EXPECT_NE(jobThread, owner.thread());
    EXPECT_EQ(publishThread, owner.thread());
}

TEST(SerialWorkerTest, ShuttingDownStopsTheRunningJobAndSkipsTheWaitingOnes) {
    Owner owner;
    Gate gate;
    std::atomic<bool> waitingRan = false;
    owner.worker.enqueue([&](std::stop_token stop) { gate.holdUntilStopped(stop); });
    owner.worker.enqueue([&](std::stop_token) { waitingRan = true; });
    ASSERT_TRUE(TestSupport::pollUntil([&] { return gate.entered(); }));
    owner.worker.shutDown();
    // Returned, so no job runs any more: the held one ended at the stop it was asked for.
    EXPECT_TRUE(gate.stopSeen());
    EXPECT_FALSE(waitingRan);
}

TEST(SerialWorkerTest, AJobEnqueuedAfterTheShutDownNeverRuns) {
    Owner owner;
    owner.worker.shutDown();
    std::atomic<bool> ran = false;
    owner.worker.enqueue([&](std::stop_token) { ran = true; });
    // Idempotent, and again it returns only once no job runs.
    owner.worker.shutDown();
    EXPECT_FALSE(ran);
}

TEST(SerialWorkerTest, AChangePublishedAsTheOwnerGoesIsDropped) {
    auto owner = std::make_unique<Owner>();
    Gate gate;
    bool applied = false;
    owner->worker.enqueue([&, worker = &owner->worker](std::stop_token stop) {
        gate.holdUntilStopped(stop);
        // The owner is being destroyed: this reaches its queue, never its code.
        worker->publish([&applied] { applied = true; });
    });
    ASSERT_TRUE(TestSupport::pollUntil([&] { return gate.entered(); }));
    owner.reset();
    EXPECT_TRUE(gate.stopSeen());
    ASSERT_TRUE(deliverWhatIsQueued());
    EXPECT_FALSE(applied);
}
