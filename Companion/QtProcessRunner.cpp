#include "Companion/QtProcessRunner.h"

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QThread>

#include <memory>
#include <mutex>
#include <optional>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace Companion {

namespace {

QStringList toQt(const std::vector<std::string>& arguments) {
    QStringList list;
    list.reserve(static_cast<qsizetype>(arguments.size()));
    for (const auto& argument : arguments) {
        list.append(QString::fromStdString(argument));
    }
    return list;
}

QProcessEnvironment environmentOf(const std::vector<std::string>& entries) {
    QProcessEnvironment environment;
    for (const auto& entry : entries) {
        const auto equals = entry.find('=');
        environment.insert(QString::fromStdString(entry.substr(0, equals)),
                           equals == std::string::npos ? QString()
                                                       : QString::fromStdString(entry.substr(equals + 1)));
    }
    return environment;
}

/// The argument and environment vectors of an exec with an argv[0] of its own, built before the fork
/// so that the child only calls execve.
struct ExecVectors {
    std::vector<std::string> strings;
    std::vector<std::string> environment;
    std::vector<char*> argv;
    std::vector<char*> envp;
    std::string program;
};

void setArgv0(QProcess& process, const ProcessCommand& command) {
    auto vectors = std::make_shared<ExecVectors>();
    vectors->program = command.program;
    vectors->strings.push_back(*command.argv0);
    vectors->strings.insert(vectors->strings.end(), command.arguments.begin(), command.arguments.end());
    for (auto& string : vectors->strings) {
        vectors->argv.push_back(string.data());
    }
    vectors->argv.push_back(nullptr);
    if (command.environment) {
        vectors->environment = *command.environment;
        for (auto& entry : vectors->environment) {
            vectors->envp.push_back(entry.data());
        }
        vectors->envp.push_back(nullptr);
    }
    // QProcess cannot name argv[0]; when this execve fails, QProcess's own exec runs and reports it.
    process.setChildProcessModifier([vectors] {
        ::execve(vectors->program.c_str(), vectors->argv.data(),
                 vectors->envp.empty() ? environ : vectors->envp.data());
    });
}

void configure(QProcess& process, const ProcessCommand& command) {
    process.setProgram(QString::fromStdString(command.program));
    process.setArguments(toQt(command.arguments));
    if (command.environment) {
        process.setProcessEnvironment(environmentOf(*command.environment));
    }
    if (command.argv0) {
        setArgv0(process, command);
    }
    switch (command.output) {
    case ProcessCommand::Output::discard:
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        break;
    case ProcessCommand::Output::capture:
        process.setStandardErrorFile(QProcess::nullDevice());
        break;
    case ProcessCommand::Output::captureMerged:
        process.setProcessChannelMode(QProcess::MergedChannels);
        break;
    case ProcessCommand::Output::inherit:
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        break;
    }
    if (command.input) {
        return;
    }
    if (command.output == ProcessCommand::Output::inherit) {
        process.setInputChannelMode(QProcess::ForwardedInputChannel);
    } else {
        process.setStandardInputFile(QProcess::nullDevice());
    }
}

int milliseconds(std::chrono::milliseconds duration) {
    return static_cast<int>(duration.count());
}

/// Terminate first so the child can clean up (systemd-inhibit ends its own child on it); kill only a
/// child that ignores it.
void end(QProcess& process, std::chrono::milliseconds grace) {
    if (process.state() == QProcess::NotRunning) {
        return;
    }
    process.terminate();
    if (!process.waitForFinished(milliseconds(grace))) {
        process.kill();
        process.waitForFinished(-1);
    }
}

QThread* reaper = nullptr;
/// Lives on the reaper thread, so work queued to it runs there, after the ends queued before it.
QObject* reaperContext = nullptr;

/// Runs as the application object goes: every child handed over is ended (each after its grace)
/// before the thread stops, so nothing of Qt is used by the reaper once Qt is being torn down.
void stopReaper() {
    QMetaObject::invokeMethod(
        reaperContext,
        [] {
            delete std::exchange(reaperContext, nullptr);
            QThread::currentThread()->quit();
        },
        Qt::QueuedConnection);
    reaper->wait();
    delete std::exchange(reaper, nullptr);
}

/// Started on first use; a child may still be in its grace when its caller is long gone.
QThread& reaperThread() {
    static std::once_flag started;
    std::call_once(started, [] {
        reaper = new QThread;
        reaper->setObjectName(QStringLiteral("child reaper"));
        reaperContext = new QObject;
        reaperContext->moveToThread(reaper);
        reaper->start();
        qAddPostRoutine(stopReaper);
    });
    return *reaper;
}

/// Sends the terminate signal now and leaves the rest of `end` to the reaper thread.
void endOffThePath(std::unique_ptr<QProcess> process, std::chrono::milliseconds grace) {
    process->terminate();
    QProcess* child = process.release();
    child->moveToThread(&reaperThread());
    QMetaObject::invokeMethod(
        child,
        [child, grace] {
            end(*child, grace);
            delete child;
        },
        Qt::QueuedConnection);
}

/// Appends `more` to `output` and keeps only its last `tail` bytes.
void keepTail(std::string& output, const QByteArray& more, std::size_t tail) {
    output.append(more.constData(), static_cast<std::size_t>(more.size()));
    if (output.size() > tail) {
        output.erase(0, output.size() - tail);
    }
}

bool launch(QProcess& process, const ProcessCommand& command) {
    process.start();
    if (!process.waitForStarted(-1)) {
        return false;
    }
    if (command.input) {
        process.write(command.input->data(), static_cast<qint64>(command.input->size()));
        process.closeWriteChannel();
    }
    return true;
}

class QtRunningProcess final : public RunningProcess {
public:
    QtRunningProcess(const ProcessCommand& command, std::chrono::milliseconds grace)
        : m_grace(grace) {
        configure(m_process, command);
        launch(m_process, command);
    }
    ~QtRunningProcess() override { end(m_process, m_grace); }

    bool isRunning() const override { return m_process.state() != QProcess::NotRunning; }

    std::optional<long long> processId() const override {
        if (!isRunning()) {
            return std::nullopt;
        }
        return static_cast<long long>(m_process.processId());
    }

    void terminate() override {
        if (isRunning()) {
            m_process.terminate();
        }
    }

private:
    QProcess m_process;
    std::chrono::milliseconds m_grace;
};

} // namespace

ProcessResult QtProcessRunner::execute(const ProcessCommand& command, std::stop_token stop) {
    auto owned = std::make_unique<QProcess>();
    QProcess& process = *owned;
    configure(process, command);
    ProcessResult result;
    if (!launch(process, command)) {
        result.status = ProcessResult::Status::failedToStart;
        result.error = process.errorString().toStdString();
        return result;
    }
    // The deadline counts from the launch, whatever the child does with the terminate signal.
    const auto deadline =
        command.timeout ? std::optional(std::chrono::steady_clock::now() + *command.timeout) : std::nullopt;
    while (process.state() != QProcess::NotRunning) {
        auto slice = stopCheckInterval;
        if (deadline) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                *deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                endOffThePath(std::move(owned), m_terminationGrace);
                result.status = ProcessResult::Status::timedOut;
                return result;
            }
            slice = std::min(slice, left);
        }
        if (stop.stop_requested()) {
            endOffThePath(std::move(owned), m_terminationGrace);
            result.status = ProcessResult::Status::cancelled;
            return result;
        }
        process.waitForFinished(milliseconds(slice));
        if (command.outputTail) {
            keepTail(result.output, process.readAllStandardOutput(), *command.outputTail);
        }
    }
    if (command.output == ProcessCommand::Output::capture ||
        command.output == ProcessCommand::Output::captureMerged) {
        if (command.outputTail) {
            keepTail(result.output, process.readAllStandardOutput(), *command.outputTail);
        } else {
            result.output = process.readAllStandardOutput().toStdString();
        }
    }
    if (process.exitStatus() == QProcess::CrashExit) {
        result.status = ProcessResult::Status::crashed;
        return result;
    }
    result.exitCode = process.exitCode();
    return result;
}

std::unique_ptr<RunningProcess> QtProcessRunner::start(const ProcessCommand& command) {
    return std::make_unique<QtRunningProcess>(command, m_terminationGrace);
}

bool QtProcessRunner::startDetached(const ProcessCommand& command) {
    QProcess process;
    process.setProgram(QString::fromStdString(command.program));
    process.setArguments(toQt(command.arguments));
    process.setStandardInputFile(QProcess::nullDevice());
    if (command.environment) {
        process.setProcessEnvironment(environmentOf(*command.environment));
    }
    if (command.output != ProcessCommand::Output::inherit) {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
    }
    return process.startDetached();
}

} // namespace Companion
