#include "cli/SignalNotifier.h"

#include "CompanionCore/Sockets.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Cli {

namespace {

// Written from the signal handler: a plain integer is all it may touch.
volatile std::sig_atomic_t writeEnd = -1;

extern "C" void forwardSignal(int signalNumber) {
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t ignored = ::write(writeEnd, &byte, 1);
    errno = savedErrno;
}

} // namespace

SignalNotifier::SignalNotifier(std::initializer_list<int> signalNumbers, QObject* parent)
    : QObject(parent)
    , m_signals(signalNumbers) {
    if (!CompanionCore::Sockets::openNonBlockingPair(m_sockets)) {
        return;
    }
    writeEnd = m_sockets[1];
    m_notifier = std::make_unique<QSocketNotifier>(m_sockets[0], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &SignalNotifier::drain);
    struct sigaction action {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    m_previous.resize(m_signals.size());
    for (std::size_t i = 0; i < m_signals.size(); ++i) {
        ::sigaction(m_signals[i], &action, &m_previous[i]);
    }
}

SignalNotifier::~SignalNotifier() {
    for (std::size_t i = 0; i < m_previous.size(); ++i) {
        ::sigaction(m_signals[i], &m_previous[i], nullptr);
    }
    writeEnd = -1;
    m_notifier.reset();
    for (const int fd : m_sockets) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

void SignalNotifier::drain() {
    unsigned char numbers[16];
    for (;;) {
        const ssize_t count = ::read(m_sockets[0], numbers, sizeof numbers);
        if (count <= 0) {
            return;
        }
        for (ssize_t i = 0; i < count; ++i) {
            emit received(numbers[i]);
        }
    }
}

} // namespace Cli
