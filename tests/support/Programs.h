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

/// This environment with the language settings of a user: `lang` for LANG, `languages` for
/// LANGUAGE (unset when empty).
inline QProcessEnvironment speaking(const QString& lang, const QString& languages = {}) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("LC_ALL");
    environment.remove("LC_MESSAGES");
    environment.insert("LANG", lang);
    if (languages.isEmpty()) {
        environment.remove("LANGUAGE");
    } else {
        environment.insert("LANGUAGE", languages);
    }
    return environment;
}

} // namespace TestSupport
