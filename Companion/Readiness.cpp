#include "Companion/Readiness.h"

#include "Companion/CompanionModel.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Text.h"

#include <QCoreApplication>

namespace Companion::Readiness {

namespace {

using Action = ReadinessCheck::Action;

constexpr Text::TranslationContext translate{"Readiness"};

QString fromStd(const std::string& text) {
    return QString::fromStdString(text);
}

QString sshServerTitle(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return translate("Inicio de sesión remoto (SSH)");
    case Wording::linuxSystem:
        return translate("Servidor SSH");
    }
    return {};
}

QString installTitle(const SystemActions& actions) {
    switch (actions.wording()) {
    case Wording::macos:
        return translate("Instalar con Homebrew");
    case Wording::linuxSystem:
        if (const auto manager = actions.packageManagerName()) {
            //: the package manager: apt, dnf, pacman, zypper
            return LocalizedFormat::fill(translate("Instalar con %@"), {fromStd(*manager)});
        }
        // The button then says which package managers it looked for.
        return translate("Instalar…");
    }
    return {};
}

ReadinessCheck remoteLoginCheck(const CompanionModel& model) {
    const bool on = model.remoteLogin();
    if (!on && !model.sshServerInstalled()) {
        return {false, sshServerTitle(model.systemActions().wording()), translate("no instalado"),
                installTitle(model.systemActions()), Action::installSshServer};
    }
    return {on,
            sshServerTitle(model.systemActions().wording()),
            on ? translate("activado") : translate("desactivado"),
            on ? std::nullopt : std::optional(translate("Activar…")),
            Action::enableRemoteLogin,
            model.remoteLoginPending()};
}

ReadinessCheck toolCheck(const CompanionModel& model, const char* name,
                         const std::optional<std::string>& path) {
    return {path.has_value(), QString::fromLatin1(name), path ? fromStd(*path) : translate("no instalado"),
            path ? std::nullopt : std::optional(installTitle(model.systemActions())), Action::installTools};
}

ReadinessCheck drozakCheck(const CompanionModel& model) {
    ReadinessCheck check{false, QStringLiteral("Drozak"), {}, std::nullopt, Action::connectDrozak};
    const auto mesh = model.meshAddress();
    const auto& status = model.drozakStatus();
    if (mesh) {
        check.ok = true;
        check.detail = LocalizedFormat::fill(translate("conectado · %@"), {fromStd(*mesh)});
        if (status && status->relayConnected.value_or(false)) {
            check.detail += translate(" · por relé");
        }
    } else if (!model.drozakPath()) {
        check.detail = translate("no instalado · fuera de casa hace falta");
        check.actionTitle = translate("Descargar Drozak");
    } else {
        const bool hasDetail = status && status->stateDetail && !status->stateDetail->empty();
        check.detail = hasDetail ? fromStd(*status->stateDetail) : translate("instalado, sin conexión");
        check.actionTitle = translate("Conectar");
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
