#include "Companion/ListenAddressCheck.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>
#include <QStringList>

namespace Companion::ListenAddressCheck {

namespace {

/// This file's texts, in the catalogue's "ListenAddressCheck" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(ListenAddressCheck)
};

} // namespace

std::vector<Finding> findings(const std::optional<CompanionCore::SshdSettings>& settings,
                              const std::optional<std::string>& meshAddress) {
    if (!settings || !meshAddress || meshAddress->empty() || settings->listensOn(*meshAddress)) {
        return {};
    }
    QStringList lines;
    for (const auto& address : settings->listenAddresses) {
        lines << QStringLiteral("ListenAddress ") + QString::fromStdString(address);
    }
    const auto mesh = QString::fromStdString(*meshAddress);
    return {
        Finding{std::string(sshdNotOnMeshAddress), true,
                LocalizedFormat::fill(Texts::tr("El servidor SSH solo escucha en %@, no en la dirección de "
                                                "malla %@: el iPhone no podrá entrar fuera de casa."),
                                      {lines.join(QStringLiteral(", ")), mesh}),
                LocalizedFormat::fill(Texts::tr("Añade «ListenAddress %@» a la configuración del servidor "
                                                "SSH (o quita sus líneas ListenAddress) y reinícialo."),
                                      {mesh})}};
}

} // namespace Companion::ListenAddressCheck
