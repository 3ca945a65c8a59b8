#pragma once

#include <QObject>

#include <csignal>
#include <initializer_list>
#include <memory>
#include <vector>

class QSocketNotifier;

namespace Cli {

/// Turns POSIX signals into a Qt signal on the event loop: the handler only writes the signal's
/// number into a socket pair, which the loop watches. One instance at a time; the previous handlers
/// come back when it is destroyed.
class SignalNotifier : public QObject {
    Q_OBJECT
public:
    explicit SignalNotifier(std::initializer_list<int> signalNumbers, QObject* parent = nullptr);
    ~SignalNotifier() override;

signals:
    void received(int signalNumber);

private:
    void drain();

    int m_sockets[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::vector<int> m_signals;
    std::vector<struct sigaction> m_previous;
};

} // namespace Cli
