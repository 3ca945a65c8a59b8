#include "CompanionCore/server/NullAnnouncer.h"

#include <QAbstractEventDispatcher>
#include <QMetaObject>

namespace CompanionCore {

void NullAnnouncer::announce(Service, Observer observer) {
    m_observer = std::make_shared<Observer>(std::move(observer));
    // Posted to the thread's dispatcher, which outlives this object; the weak pointer goes stale when
    // the announcer is destroyed first.
    QMetaObject::invokeMethod(
        QAbstractEventDispatcher::instance(),
        [weak = std::weak_ptr<Observer>(m_observer)] {
            if (const auto alive = weak.lock(); alive && alive->note) {
                alive->note(message);
            }
        },
        Qt::QueuedConnection);
}

std::unique_ptr<Announcer> makeNullAnnouncer() {
    return std::make_unique<NullAnnouncer>();
}

} // namespace CompanionCore
