#include "Companion/Readiness.h"

#include "Companion/CompanionModel.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/PlatformWords.h"

#include <QCoreApplication>

namespace Companion::Readiness {

namespace {

using Action = ReadinessCheck::Action;

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

ReadinessCheck remoteLoginCheck(const CompanionModel& model) {
    const bool on = model.remoteLogin();
    if (!on && !model.sshServerInstalled()) {
        return {false, PlatformWords::sshServerTitle(model.systemActions().wording()),
                Texts::tr("no instalado"), installTitle(model.systemActions()), Action::installSshServer};
    }
    return {on,
            PlatformWords::sshServerTitle(model.systemActions().wording()),
            on ? Texts::tr("activado") : Texts::tr("desactivado"),
            on ? std::nullopt : std::optional(Texts::tr("Activar…")),
            Action::enableRemoteLogin,
            model.remoteLoginPending()};
}

ReadinessCheck toolCheck(const CompanionModel& model, const char* name,
                         const std::optional<std::string>& path) {
    return {path.has_value(), QString::fromLatin1(name), path ? fromStd(*path) : Texts::tr("no instalado"),
            path ? std::nullopt : std::optional(installTitle(model.systemActions())), Action::installTools};
}

ReadinessCheck drozakCheck(const CompanionModel& model) {
    ReadinessCheck check{false, QStringLiteral("Drozak"), {}, std::nullopt, Action::connectDrozak};
    const auto mesh = model.meshAddress();
    const auto& status = model.drozakStatus();
    if (mesh) {
        check.ok = true;
        //: mesh address
        check.detail = LocalizedFormat::fill(Texts::tr("conectado · %@"), {fromStd(*mesh)});
        if (status && status->relayConnected.value_or(false)) {
            check.detail += Texts::tr(" · por relé");
        }
    } else if (!model.drozakPath()) {
        check.detail = Texts::tr("no instalado · fuera de casa hace falta");
        check.actionTitle = Texts::tr("Descargar Drozak");
    } else {
        const bool hasDetail = status && status->stateDetail && !status->stateDetail->empty();
        check.detail = hasDetail ? fromStd(*status->stateDetail) : Texts::tr("instalado, sin conexión");
        check.actionTitle = Texts::tr("Conectar");
        check.busy = model.drozakConnectPending();
    }
    return check;
}

} // namespace

std::vector<ReadinessCheck> checks(const CompanionModel& model) {
    return {remoteLoginCheck(model), toolCheck(model, "mosh-server", model.moshPath()),
            toolCheck(model, "tmux", model.tmuxPath()), drozakCheck(model)};
}

void perform(CompanionModel& model, ReadinessCheck::Action action) {
    switch (action) {
    case Action::none:
        return;
    case Action::enableRemoteLogin:
        model.enableRemoteLogin();
        return;
    case Action::installSshServer:
        model.installSshServer();
        return;
    case Action::installTools:
        model.installWithHomebrew();
        return;
    case Action::connectDrozak:
        model.connectDrozak();
        return;
    }
}

} // namespace Companion::Readiness
