#include "cli/StatusCommand.h"

#include "Companion/Host.h"
#include "Companion/Readiness.h"
#include "cli/CommandLine.h"

#include <QCoreApplication>
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

QString statusTable(const std::vector<Companion::ReadinessCheck>& checks,
                    const Companion::ReadinessFacts& facts) {
    QStringList addresses;
    for (const auto& address : facts.addresses) {
        addresses.append(text(address));
    }
    const auto mesh = facts.meshAddress();
    std::vector<Row> rows;
    for (const auto& check : checks) {
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

QJsonObject statusJson(const std::vector<Companion::ReadinessCheck>& checks,
                       const Companion::ReadinessFacts& facts) {
    QJsonArray addresses;
    for (const auto& address : facts.addresses) {
        addresses.append(text(address));
    }
    QJsonValue drozakStatus(QJsonValue::Null);
    if (const auto& status = facts.drozakStatus) {
        drozakStatus = QJsonObject{
            {QStringLiteral("connected"), status->connected},
            {QStringLiteral("state"), optionalText(status->state)},
            {QStringLiteral("state_detail"), optionalText(status->stateDetail)},
            {QStringLiteral("ip"), optionalText(status->ip)},
            {QStringLiteral("relay_connected"), optionalBool(status->relayConnected)},
            {QStringLiteral("update_available"), optionalBool(status->updateAvailable)},
        };
    }
    QJsonArray rows;
    for (const auto& check : checks) {
        rows.append(QJsonObject{
            {QStringLiteral("key"), QString::fromLatin1(Companion::ReadinessCheck::key(check.item))},
            {QStringLiteral("ok"), check.ok},
            {QStringLiteral("title"), check.title},
            {QStringLiteral("detail"), check.detail},
        });
    }
    return QJsonObject{
        {QStringLiteral("ready"), statusExit(facts) == Exit::done},
        {QStringLiteral("remoteLogin"), facts.remoteLogin},
        {QStringLiteral("moshPath"), optionalText(facts.moshPath)},
        {QStringLiteral("tmuxPath"), optionalText(facts.tmuxPath)},
        {QStringLiteral("drozakPath"), optionalText(facts.drozakPath)},
        {QStringLiteral("drozakStatus"), drozakStatus},
        {QStringLiteral("addresses"), addresses},
        {QStringLiteral("meshAddress"), optionalText(facts.meshAddress())},
        {QStringLiteral("hasMeshAddress"), facts.hasMeshAddress()},
        {QStringLiteral("checks"), rows},
    };
}

int statusExit(const Companion::ReadinessFacts& facts) {
    return facts.remoteLogin ? Exit::done : Exit::refused;
}

int runStatus(const Companion::Host& host, const QStringList& arguments) {
    CommandLine commandLine(QStringLiteral("status"),
                            QStringLiteral("Shows whether this computer is ready for the phone."));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Write one JSON object instead of text."));
    commandLine.addOptions({json});
    commandLine.setUsageLine(Texts::tr("Uso: nuvexa-companion-cli status [--json]"));
    if (const auto ended = commandLine.parse(arguments)) {
        return *ended;
    }
    const auto facts = Companion::Readiness::probe(host);
    const auto checks = Companion::Readiness::checks(facts, {}, *host.systemActions);
    if (commandLine.isSet(json)) {
        write(QString::fromUtf8(QJsonDocument(statusJson(checks, facts)).toJson(QJsonDocument::Compact)) +
                  QStringLiteral("\n"),
              stdout);
    } else {
        write(statusTable(checks, facts), stdout);
    }
    return statusExit(facts);
}

} // namespace Cli
