#include "cli/StatusCommand.h"

#include "Companion/Host.h"
#include "Companion/PlatformWords.h"
#include "Companion/Readiness.h"
#include "Companion/SystemActions.h"
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
    /// What fixes a failed check; empty when nothing is offered.
    QString remedy;
    /// What a deeper look found on the row's way in, each with its remedy.
    std::vector<Companion::Finding> findings;
};

/// What the panel's button would do, told for a terminal: the button's words, then how to do it by
/// hand in doctor's words or as the command to type.
QString remedy(const Companion::ReadinessCheck& check, Companion::SystemActions& actions) {
    if (check.ok || !check.actionTitle) {
        return {};
    }
    QString how;
    using Action = Companion::ReadinessCheck::Action;
    switch (check.action) {
    case Action::enableRemoteLogin:
        how = Companion::PlatformWords::noSshServer(actions.wording());
        break;
    case Action::installSshServer:
    case Action::installTools: {
        std::vector<std::string> packages;
        if (check.action == Action::installSshServer) {
            if (const auto package = actions.sshServerPackage()) {
                packages.push_back(*package);
            }
        } else {
            packages.push_back(check.item == Companion::ReadinessCheck::Item::moshServer ? "mosh" : "tmux");
        }
        const auto command = packages.empty() ? std::nullopt : actions.installCommandLine(packages);
        how = command ? text(*command) : text(actions.packageManagerMissingMessage());
        break;
    }
    case Action::connectDrozak:
    case Action::none:
        break;
    }
    QString title = *check.actionTitle;
    if (title.endsWith(u'…')) {
        title.chop(1);
    }
    return QStringLiteral("[") + title + QStringLiteral("]") +
           (how.isEmpty() ? QString() : QStringLiteral(" ") + how);
}

void write(const QString& output, std::FILE* stream) {
    std::fputs(output.toUtf8().constData(), stream);
    std::fflush(stream);
}

} // namespace

QJsonArray findingsJson(const std::vector<Companion::Finding>& findings) {
    QJsonArray array;
    for (const auto& finding : findings) {
        array.append(QJsonObject{
            {QStringLiteral("cause"), text(finding.cause)},
            {QStringLiteral("keepsPhoneOut"), finding.keepsPhoneOut},
            {QStringLiteral("text"), finding.text},
            {QStringLiteral("remedy"), finding.remedy},
        });
    }
    return array;
}

QString statusTable(const std::vector<Companion::ReadinessCheck>& checks,
                    const Companion::ReadinessFacts& facts, Companion::SystemActions& actions,
                    const TerminalStyle& style) {
    QStringList addresses;
    for (const auto& address : facts.addresses) {
        addresses.append(text(address));
    }
    const auto mesh = facts.meshAddress();
    std::vector<Row> rows;
    for (const auto& check : checks) {
        rows.push_back(Row{check.title, check.ok, check.detail, remedy(check, actions), check.findings});
    }
    rows.push_back(Row{Texts::tr("Direcciones"), std::nullopt, addresses.join(QStringLiteral(", ")), {}, {}});
    rows.push_back(Row{
        Texts::tr("Dirección de malla"), std::nullopt, mesh ? text(*mesh) : Texts::tr("ninguna"), {}, {}});
    qsizetype width = 0;
    for (const auto& row : rows) {
        width = std::max(width, row.label.size());
    }
    QString table;
    for (const auto& row : rows) {
        const QString mark = row.ok ? style.mark(*row.ok) : style.blankMark();
        table += row.label.leftJustified(width + columnGap) + mark + QStringLiteral(" ") + row.detail +
                 QStringLiteral("\n");
        // The remedy sits under the detail, wrapped to the terminal.
        const QString indent(width + columnGap + style.blankMark().size() + 1, u' ');
        const auto under = [&](const QString& text) {
            for (const QString& line : wrapped(text, terminalColumns - 1 - indent.size())) {
                table += indent + line + QStringLiteral("\n");
            }
        };
        if (!row.remedy.isEmpty()) {
            under(row.remedy);
        }
        for (const auto& finding : row.findings) {
            under(finding.text);
            if (!finding.remedy.isEmpty()) {
                under(finding.remedy);
            }
        }
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
            {QStringLiteral("findings"), findingsJson(check.findings)},
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
                            Texts::tr("Muestra si este ordenador está listo para el teléfono y, para lo "
                                      "que falta, qué hacer."));
    const QCommandLineOption json(QStringLiteral("json"),
                                  Texts::tr("Escribe un objeto JSON en lugar de texto."));
    commandLine.addOptions({json});
    commandLine.setHelpEpilogue(Texts::tr("Estado de salida: 0 listo (el servidor SSH está activado); 1 no "
                                          "listo; 2 error de uso."));
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
        write(statusTable(checks, facts, *host.systemActions, TerminalStyle::ofStandardOutput()), stdout);
    }
    return statusExit(facts);
}

} // namespace Cli
