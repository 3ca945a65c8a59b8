#include "cli/StatusCommand.h"

#include "Companion/CompanionModel.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Readiness.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <utility>
#include <vector>

namespace Cli {

namespace {

/// Blanks between the label column and the marks.
constexpr int columnGap = 2;

/// This file's texts, in the catalogue's "StatusCommand" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(StatusCommand)
};

QString usage() {
    return Texts::tr("Uso: nuvexa-companion-cli status [--json]") + QStringLiteral("\n");
}

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

QJsonValue optionalText(const std::optional<std::string>& value) {
    return value ? QJsonValue(text(*value)) : QJsonValue(QJsonValue::Null);
}

QJsonValue optionalBool(const std::optional<bool>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

struct Row {
    QString label;
    /// Absent for rows that are information rather than a check.
    std::optional<bool> ok;
    QString detail;
};

Row checkRow(const Companion::ReadinessCheck& check) {
    return Row{check.title, check.ok, check.detail};
}

void write(const QString& output, std::FILE* stream) {
    std::fputs(output.toUtf8().constData(), stream);
    std::fflush(stream);
}

} // namespace

QString statusTable(const Companion::CompanionModel& model) {
    QStringList addresses;
    for (const auto& address : model.addresses()) {
        addresses.append(text(address));
    }
    const auto mesh = model.meshAddress();
    std::vector<Row> rows;
    for (const auto& check : Companion::Readiness::checks(model)) {
        rows.push_back(checkRow(check));
    }
    rows.push_back(Row{Texts::tr("Direcciones"), std::nullopt, addresses.join(QStringLiteral(", "))});
    rows.push_back(
        Row{Texts::tr("Dirección de malla"), std::nullopt, mesh ? text(*mesh) : Texts::tr("ninguna")});
    qsizetype width = 0;
    for (const auto& row : rows) {
        width = std::max(width, row.label.size());
    }
    QString table;
    for (const auto& row : rows) {
        const QString mark = !row.ok   ? QStringLiteral(" ")
                             : *row.ok ? QStringLiteral("✓")
                                       : QStringLiteral("✗");
        table += row.label.leftJustified(width + columnGap) + mark + QStringLiteral(" ") + row.detail +
                 QStringLiteral("\n");
    }
    return table;
}

QJsonObject statusJson(const Companion::CompanionModel& model) {
    QJsonArray addresses;
    for (const auto& address : model.addresses()) {
        addresses.append(text(address));
    }
    QJsonValue drozakStatus(QJsonValue::Null);
    if (const auto& status = model.drozakStatus()) {
        drozakStatus = QJsonObject{
            {QStringLiteral("connected"), status->connected},
            {QStringLiteral("state"), optionalText(status->state)},
            {QStringLiteral("state_detail"), optionalText(status->stateDetail)},
            {QStringLiteral("ip"), optionalText(status->ip)},
            {QStringLiteral("relay_connected"), optionalBool(status->relayConnected)},
            {QStringLiteral("update_available"), optionalBool(status->updateAvailable)},
        };
    }
    return QJsonObject{
        {QStringLiteral("ready"), statusExit(model) == readyExit},
        {QStringLiteral("remoteLogin"), model.remoteLogin()},
        {QStringLiteral("moshPath"), optionalText(model.moshPath())},
        {QStringLiteral("tmuxPath"), optionalText(model.tmuxPath())},
        {QStringLiteral("drozakPath"), optionalText(model.drozakPath())},
        {QStringLiteral("drozakStatus"), drozakStatus},
        {QStringLiteral("addresses"), addresses},
        {QStringLiteral("meshAddress"), optionalText(model.meshAddress())},
        {QStringLiteral("hasMeshAddress"), model.hasMeshAddress()},
    };
}

int statusExit(const Companion::CompanionModel& model) {
    return model.remoteLogin() ? readyExit : notReadyExit;
}

int runStatus(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption json(QStringLiteral("json"));
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    parser.addOption(json);
    parser.addOption(help);
    if (!parser.parse(QStringList{QStringLiteral("status")} + arguments) ||
        !parser.positionalArguments().isEmpty()) {
        const QString problem =
            parser.positionalArguments().isEmpty()
                ? parser.errorText()
                : Companion::LocalizedFormat::fill(Texts::tr("argumento inesperado %@"),
                                                   {parser.positionalArguments().first()});
        write(QStringLiteral("nuvexa-companion-cli status: %1\n").arg(problem) + usage(), stderr);
        return statusUsageExit;
    }
    if (parser.isSet(help)) {
        write(usage(), stdout);
        return readyExit;
    }
    Companion::CompanionModel model;
    QEventLoop loop;
    QObject::connect(&model, &Companion::CompanionModel::refreshed, &loop, &QEventLoop::quit);
    loop.exec();
    if (parser.isSet(json)) {
        write(QString::fromUtf8(QJsonDocument(statusJson(model)).toJson(QJsonDocument::Compact)) +
                  QStringLiteral("\n"),
              stdout);
    } else {
        write(statusTable(model), stdout);
    }
    return statusExit(model);
}

} // namespace Cli
