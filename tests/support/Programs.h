#pragma once

#include <QProcess>
#include <QStringList>

#include <string>

namespace TestSupport {

struct ProgramResult {
    int exitCode = -1;
    bool finished = false;
    std::string output;
};

/// Runs an external program to its end (stdout and stderr merged), by absolute path, in this
/// process's environment or in `environment`.
inline ProgramResult
runProgram(const QString& program, const QStringList& arguments, int boundMs = 60000,
           const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    ProgramResult result;
    if (!process.waitForStarted(boundMs)) {
        result.output = process.errorString().toStdString();
        return result;
    }
    process.closeWriteChannel();
    result.finished = process.waitForFinished(boundMs) && process.exitStatus() == QProcess::NormalExit;
    result.exitCode = process.exitCode();
    result.output = process.readAll().toStdString();
    return result;
}

} // namespace TestSupport
