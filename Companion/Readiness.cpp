#include "Companion/Readiness.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/PlatformWords.h"

#include <QCoreApplication>

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
                Action::installSshServer};
    }
    return {Item::sshServer,
            on,
            PlatformWords::sshServerTitle(actions.wording()),
            on ? Texts::tr("activado") : Texts::tr("desactivado"),
            on ? std::nullopt : std::optional(Texts::tr("Activar…")),
            Action::enableRemoteLogin,
            pending.remoteLogin};
}

ReadinessCheck toolCheck(Item item, const SystemActions& actions, const char* name,
                         const std::optional<std::string>& path) {
    return {item,
            path.has_value(),
            QString::fromLatin1(name),
            path ? fromStd(*path) : Texts::tr("no instalado"),
            path ? std::nullopt : std::optional(installTitle(actions)),
            Action::installTools};
}

ReadinessCheck drozakCheck(const ReadinessFacts& facts, const Pending& pending) {
    ReadinessCheck check{Item::drozak, false,        QStringLiteral("Drozak"),
                         {},           std::nullopt, Action::connectDrozak};
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
                                   const SystemActions& actions) {
    return {remoteLoginCheck(facts, pending, actions),
            toolCheck(Item::moshServer, actions, "mosh-server", facts.moshPath),
            toolCheck(Item::tmux, actions, "tmux", facts.tmuxPath), drozakCheck(facts, pending)};
}

} // namespace Companion::Readiness
