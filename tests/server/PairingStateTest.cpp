#include "CompanionCore/server/PairingState.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::KeyFileOwnership;
using CompanionCore::PairingFailure;
using CompanionCore::Pairing::describe;
using CompanionCore::Pairing::Failed;

TEST(PairingStateTest, DescribesAnOwnershipRefusalWithItsPathAndAccounts) {
    EXPECT_EQ(describe(Failed{PairingFailure::keyFileNotTheUsers,
                              {},
                              KeyFileOwnership::Named{"/home/ana/.ssh", "ana", "root"}}),
              "/home/ana/.ssh belongs to ana, not to root, the account the phone would log in to");
}

TEST(PairingStateTest, DescribesTheFailuresWithoutDetailInTheirOwnWords) {
    EXPECT_EQ(describe(Failed{PairingFailure::noFreePort}), "no free port");
    EXPECT_EQ(describe(Failed{PairingFailure::tooManyWrongCodes}), "too many wrong codes");
}

TEST(PairingStateTest, DescribesAListenerFailureWithTheSystemsMessage) {
    EXPECT_EQ(describe(Failed{PairingFailure::listenerFailed, "The address is protected"}),
              "The address is protected");
}

TEST(PairingStateTest, DescribesAKeyThatWasNotWrittenAsThePhoneWasToldIt) {
    EXPECT_EQ(describe(Failed{PairingFailure::keyNotInstalled, "/home/ana/.ssh: Not a directory"}),
              "could not write authorized_keys: /home/ana/.ssh: Not a directory");
}

} // namespace
