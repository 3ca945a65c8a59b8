#pragma once

#include "server/support/EventLoop.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>

#include <optional>
#include <string>
#include <vector>

namespace TestSupport {

/// The command-line program running as a child, its output read line by line on the test's loop.
class CliSession {
public:
    /// Starts `program` with `arguments`; `wrapper` (for instance runuser and its arguments) goes first.
    CliSession(const QString& program, const QStringList& arguments, const QStringList& wrapper = {}) {
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, [this] { read(); });
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        if (wrapper.isEmpty()) {
            m_process.start(program, arguments);
        } else {
            m_process.start(wrapper.front(), wrapper.mid(1) + QStringList{program} + arguments);
        }
        m_process.waitForStarted();
    }
    ~CliSession() {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    /// Waits for a line that satisfies `accept` and answers it.
    template <typename Predicate>
    std::optional<std::string> waitForLine(Predicate accept) {
        std::optional<std::string> found;
        const auto look = [&] {
            if (found) {
                return true;
            }
            for (; m_next < m_lines.size(); ++m_next) {
                if (accept(m_lines[m_next])) {
                    found = m_lines[m_next++];
                    return true;
                }
            }
            return m_process.state() == QProcess::NotRunning;
        };
        waitUntil(&m_process, &QProcess::readyReadStandardOutput, look);
        if (!found) {
            read();
            look();
        }
        return found;
    }

    /// Waits for a JSON line whose "type" (and "state", when given) match.
    std::optional<QJsonObject> waitForJson(const QString& type, const QString& state = {}) {
        std::optional<QJsonObject> object;
        waitForLine([&](const std::string& line) {
            const QJsonObject candidate = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
            if (candidate.value("type").toString() == type &&
                (state.isEmpty() || candidate.value("state").toString() == state)) {
                object = candidate;
                return true;
            }
            return false;
        });
        return object;
    }

    /// Waits for the end and answers the exit status (-1 for a crash or the bound passing).
    int waitForExit() {
        waitUntil(&m_process, &QProcess::finished,
                  [this] { return m_process.state() == QProcess::NotRunning; });
        read();
        if (m_process.state() != QProcess::NotRunning || m_process.exitStatus() != QProcess::NormalExit) {
            return -1;
        }
        return m_process.exitCode();
    }

    const std::vector<std::string>& lines() const { return m_lines; }
    std::string errors() { return m_process.readAllStandardError().toStdString(); }
    qint64 processId() const { return m_process.processId(); }

private:
    void read() {
        m_partial += m_process.readAllStandardOutput();
        for (qsizetype end = m_partial.indexOf('\n'); end >= 0; end = m_partial.indexOf('\n')) {
            m_lines.push_back(m_partial.left(end).toStdString());
            m_partial.remove(0, end + 1);
        }
    }

    QProcess m_process;
    QByteArray m_partial;
    std::vector<std::string> m_lines;
    std::size_t m_next = 0;
};

} // namespace TestSupport
