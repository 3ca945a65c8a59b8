#include "Companion/PairingFailureText.h"

#include <gtest/gtest.h>

namespace {

namespace FailureText = Companion::PairingFailureText;
using CompanionCore::KeyFileOwnership;
using CompanionCore::PairingFailure;
using CompanionCore::Pairing::Failed;

// No translation is installed here: the texts are their Spanish keys.

TEST(PairingFailureTextTest, NamesThePathAndBothAccountsOfAnOwnershipRefusal) {
    EXPECT_EQ(
        FailureText::describe(Failed{PairingFailure::keyFileNotTheUsers,
                                     {},
                                     KeyFileOwnership::Named{"/home/ana/.ssh", "ana", "root"}}),
        QStringLiteral("/home/ana/.ssh es de ana, no de root, la cuenta con la que entraría el teléfono"));
}

TEST(PairingFailureTextTest, SaysTheReasonsThatNeedNoDetail) {
    EXPECT_EQ(FailureText::describe(Failed{PairingFailure::noFreePort}),
              QStringLiteral("no hay ningún puerto libre"));
    EXPECT_EQ(FailureText::describe(Failed{PairingFailure::tooManyWrongCodes}),
              QStringLiteral("demasiados códigos incorrectos"));
}

TEST(PairingFailureTextTest, KeepsTheSystemsOwnMessage) {
    EXPECT_EQ(FailureText::describe(Failed{PairingFailure::listenerFailed, "The address is protected"}),
              QStringLiteral("no se pueden recibir conexiones del teléfono: The address is protected"));
    EXPECT_EQ(
        FailureText::describe(Failed{PairingFailure::keyNotInstalled, "/home/ana/.ssh: Not a directory"}),
        QStringLiteral("no se ha podido escribir authorized_keys: /home/ana/.ssh: Not a directory"));
}

TEST(PairingFailureTextTest, NeverReadsPlaceholdersInsideTheSystemsMessage) {
    EXPECT_EQ(FailureText::describe(Failed{PairingFailure::listenerFailed, "%@ %d"}),
              QStringLiteral("no se pueden recibir conexiones del teléfono: %@ %d"));
}

} // namespace
