#include "Companion/PairingFailureText.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>

namespace Companion::PairingFailureText {

namespace {

/// This file's texts, in the catalogue's "PairingFailureText" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(PairingFailureText)
};

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

} // namespace

QString describe(const CompanionCore::Pairing::Failed& failed) {
    switch (failed.reason) {
    case CompanionCore::PairingFailure::keyFileNotTheUsers: {
        const auto ownership = failed.ownership.value_or(CompanionCore::KeyFileOwnership::Named{});
        return LocalizedFormat::fill(
            //: a file or folder, the account it belongs to, the account the phone would log in to
            Texts::tr("%@ es de %@, no de %@, la cuenta con la que entraría el teléfono"),
            {text(ownership.path.string()), text(ownership.owner), text(ownership.account)});
    }
    case CompanionCore::PairingFailure::noFreePort:
        return Texts::tr("no hay ningún puerto libre");
    case CompanionCore::PairingFailure::listenerFailed:
        //: the system's error message
        return LocalizedFormat::fill(Texts::tr("no se pueden recibir conexiones del teléfono: %@"),
                                     {text(failed.detail)});
    case CompanionCore::PairingFailure::tooManyWrongCodes:
        return Texts::tr("demasiados códigos incorrectos");
    case CompanionCore::PairingFailure::keyNotInstalled:
        //: the system's error message
        return LocalizedFormat::fill(Texts::tr("no se ha podido escribir authorized_keys: %@"),
                                     {text(failed.detail)});
    }
    return text(failed.detail);
}

} // namespace Companion::PairingFailureText
