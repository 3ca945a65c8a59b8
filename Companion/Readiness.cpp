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

ReadinessCheck remoteLoginCheck(const CompanionModel& model) {
    const bool on = model.remoteLogin();
    return {on, translate("Inicio de sesión remoto (SSH)"),
            on ? translate("activado") : translate("desactivado"),
            on ? std::nullopt : std::optional(translate("Activar…")), Action::enableRemoteLogin};
}

ReadinessCheck toolCheck(const char* name, const std::optional<std::string>& path) {
    return {path.has_value(), QString::fromLatin1(name), path ? fromStd(*path) : translate("no instalado"),
            path ? std::nullopt : std::optional(translate("Instalar con Homebrew")), Action::installTools};
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
    }
    return check;
}

} // namespace

std::vector<ReadinessCheck> checks(const CompanionModel& model) {
    return {remoteLoginCheck(model), toolCheck("mosh-server", model.moshPath()),
            toolCheck("tmux", model.tmuxPath()), drozakCheck(model)};
}

void perform(CompanionModel& model, ReadinessCheck::Action action) {
    switch (action) {
    case Action::none:
        return;
    case Action::enableRemoteLogin:
        model.enableRemoteLogin();
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
