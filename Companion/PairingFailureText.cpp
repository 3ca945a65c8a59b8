#include "Companion/PairingFailureText.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/Text.h"

namespace Companion::PairingFailureText {

namespace {

constexpr Text::TranslationContext translate{"PairingFailureText"};

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

} // namespace

QString describe(const CompanionCore::Pairing::Failed& failed) {
    switch (failed.reason) {
    case CompanionCore::PairingFailure::keyFileNotTheUsers: {
        const auto ownership = failed.ownership.value_or(CompanionCore::KeyFileOwnership::Named{});
        return LocalizedFormat::fill(
            translate("%@ es de %@, no de %@, la cuenta con la que entraría el teléfono"),
            {text(ownership.path.string()), text(ownership.owner), text(ownership.account)});
    }
    case CompanionCore::PairingFailure::noFreePort:
        return translate("no hay ningún puerto libre");
    case CompanionCore::PairingFailure::listenerFailed:
        return LocalizedFormat::fill(translate("no se pueden recibir conexiones del teléfono: %@"),
                                     {text(failed.detail)});
    case CompanionCore::PairingFailure::tooManyWrongCodes:
        return translate("demasiados códigos incorrectos");
    case CompanionCore::PairingFailure::keyNotInstalled:
        return LocalizedFormat::fill(translate("no se ha podido escribir authorized_keys: %@"),
                                     {text(failed.detail)});
    }
    return text(failed.detail);
}

} // namespace Companion::PairingFailureText
