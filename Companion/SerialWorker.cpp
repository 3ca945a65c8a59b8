#include "Companion/SerialWorker.h"

namespace Companion {

SerialWorker::SerialWorker(QObject& owner)
    : m_owner(owner) {
    // One thread: jobs run in the order they were asked for.
    m_pool.setMaxThreadCount(1);
}

SerialWorker::~SerialWorker() {
    shutDown();
}

void SerialWorker::enqueue(std::function<void(std::stop_token)> job) {
    m_pool.start([job = std::move(job), stop = m_stop.get_token()] {
        if (!stop.stop_requested()) {
            job(stop);
        }
    });
}

void SerialWorker::publish(std::function<void()> change) {
    // Queued to the owner's thread; Qt drops it if the owner is gone by then.
    QMetaObject::invokeMethod(&m_owner, std::move(change), Qt::QueuedConnection);
}

void SerialWorker::shutDown() {
    m_stop.request_stop();
    m_pool.waitForDone();
}

} // namespace Companion
