#pragma once

#include <QEventLoop>
#include <QObject>
#include <QTimer>

#include "support/Patience.h"

#include <chrono>

namespace TestSupport {

inline constexpr std::chrono::milliseconds generousTimeout = generousBound;

/// Runs the event loop until `done()` holds, checking it each time `sender` emits `signal`. False
/// when the bound passes first.
template <typename Sender, typename Signal, typename Predicate>
bool waitUntil(Sender* sender, Signal signal, Predicate done,
               std::chrono::milliseconds bound = generousTimeout) {
    if (done()) {
        return true;
    }
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    // The answer that ended the wait is the one returned: asking again could see a later state.
    bool met = false;
    QObject::connect(sender, signal, &loop, [&] {
        if (!met && done()) {
            met = true;
            loop.quit();
        }
    });
    timer.start(bound);
    loop.exec();
    return met || done();
}

/// Runs the event loop until `done()` holds, checking it after every few events. For conditions no
/// single signal announces.
template <typename Predicate>
bool spinUntil(Predicate done, std::chrono::milliseconds bound = generousTimeout) {
    if (done()) {
        return true;
    }
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    QTimer check;
    bool met = false;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (!met && done()) {
            met = true;
            loop.quit();
        }
    });
    deadline.start(bound);
    check.start(std::chrono::milliseconds(1));
    loop.exec();
    return met || done();
}

/// Lets the event loop deliver what is already due, for `span` of wall time. Never a condition for
/// success: only a chance for the other side to act before the test goes on.
inline void settle(std::chrono::milliseconds span) {
    QEventLoop loop;
    QTimer::singleShot(span, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace TestSupport
