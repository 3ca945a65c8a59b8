#include "Companion/Readiness.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/PlatformWords.h"

#include <QCoreApplication>

#include <algorithm>

namespace Companion::Readiness {

namespace {

using Action = ReadinessCheck::Action;
using Item = ReadinessCheck::Item;

/// This file's texts, in the catalogue's "Readiness" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(Readiness)
};

QString fromStd(const std::string& text) {
    return QString::fromStdString(text);
}

QString installTitle(const SystemActions& actions) {
    return PlatformWords::installTitle(actions.wording(), actions.packageManagerName());
}

ReadinessCheck remoteLoginCheck(const ReadinessFacts& facts, const Pending& pending,
                                const SystemActions& actions) {
    const bool on = facts.remoteLogin;
    if (!on && !facts.sshServerInstalled) {
        return {Item::sshServer,
                false,
                PlatformWords::sshServerTitle(actions.wording()),
                Texts::tr("no instalado"),
                installTitle(actions),
                Action::installSshServer,
                false,
                {}};
    }
    return {Item::sshServer,
            on,
            PlatformWords::sshServerTitle(actions.wording()),
            on ? Texts::tr("activado") : Texts::tr("desactivado"),
            on ? std::nullopt : std::optional(Texts::tr("Activar…")),
            Action::enableRemoteLogin,
            pending.remoteLogin,
            {}};
}

ReadinessCheck toolCheck(Item item, const SystemActions& actions, const char* name,
                         const std::optional<std::string>& path) {
    return {item,
            path.has_value(),
            QString::fromLatin1(name),
            path ? fromStd(*path) : Texts::tr("no instalado"),
            path ? std::nullopt : std::optional(installTitle(actions)),
            Action::installTools,
            false,
            {}};
}

bool keepsPhoneOut(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.keepsPhoneOut; });
}

ReadinessCheck moshCheck(const ReadinessFacts& facts, SystemActions& actions) {
    auto check = toolCheck(Item::moshServer, actions, "mosh-server", facts.moshPath);
    check.findings = moshPathFindings(facts, actions);
    if (!check.findings.empty()) {
        check.detail = Texts::tr("instalado, pero una sesión SSH no lo encuentra");
    }
    check.ok = check.ok && !keepsPhoneOut(check.findings);
    return check;
}

ReadinessCheck drozakCheck(const ReadinessFacts& facts, const Pending& pending) {
    ReadinessCheck check{
        Item::drozak, false, QStringLiteral("Drozak"), {}, std::nullopt, Action::connectDrozak, false, {}};
    const auto mesh = facts.meshAddress();
    const auto& status = facts.drozakStatus;
    if (mesh) {
        check.ok = true;
        //: mesh address
        check.detail = LocalizedFormat::fill(Texts::tr("conectado · %@"), {fromStd(*mesh)});
        if (status && status->relayConnected.value_or(false)) {
            check.detail += Texts::tr(" · por relé");
        }
    } else if (!facts.drozakPath) {
        check.detail = Texts::tr("no instalado · fuera de casa hace falta");
        check.actionTitle = Texts::tr("Descargar Drozak");
    } else {
        const bool hasDetail = status && status->stateDetail && !status->stateDetail->empty();
        check.detail = hasDetail ? fromStd(*status->stateDetail) : Texts::tr("instalado, sin conexión");
        check.actionTitle = Texts::tr("Conectar");
        check.busy = pending.drozakConnect;
    }
    return check;
}

} // namespace

ReadinessFacts probe(const Host& host, const std::stop_token& stop,
                     const std::function<void(const ReadinessFacts&)>& progress, ReadinessFacts earlier) {
    ReadinessFacts facts = std::move(earlier);
    const auto tell = [&] {
        if (progress) {
            progress(facts);
        }
    };
    SystemActions& actions = *host.systemActions;
    facts.remoteLogin = actions.remoteLoginEnabled();
    tell();
    facts.sshServerInstalled = facts.remoteLogin || actions.sshServerInstalled();
    tell();
    facts.moshPath = host.locate("mosh-server");
    tell();
    // Only an installed mosh-server is worth a login's look.
    facts.login = facts.moshPath && host.sshLogin ? host.sshLogin() : std::nullopt;
    tell();
    facts.tmuxPath = host.locate("tmux");
    tell();
    facts.drozakPath = host.locate("drozak");
    tell();
    if (stop.stop_requested()) {
        return facts;
    }
    // Cleared when the tool has gone.
    facts.drozakStatus = facts.drozakPath ? actions.drozakStatus(*facts.drozakPath) : std::nullopt;
    tell();
    facts.addresses = host.hosts(actions.ipv4Addresses());
    tell();
    return facts;
}

std::vector<ReadinessCheck> checks(const ReadinessFacts& facts, const Pending& pending,
                                   SystemActions& actions) {
    return {remoteLoginCheck(facts, pending, actions), moshCheck(facts, actions),
            toolCheck(Item::tmux, actions, "tmux", facts.tmuxPath), drozakCheck(facts, pending)};
}

std::vector<Finding> moshPathFindings(const ReadinessFacts& facts, SystemActions& actions) {
    if (!facts.moshPath || !facts.login || facts.login->moshServer) {
        return {};
    }
    const QString path = fromStd(*facts.moshPath);
    //: where mosh-server is installed
    return {
        Finding{"moshServerNotInLoginPath", true,
                LocalizedFormat::fill(Texts::tr("mosh-server está instalado en %@, pero una sesión SSH no "
                                                "lo encuentra: el teléfono no podrá entrar con mosh."),
                                      {path}),
                PlatformWords::moshServerNotInLoginPath(actions.wording(), path,
                                                        actions.installCommandLine({"mosh"}))}};
}

} // namespace Companion::Readiness
