#include "CompanionCore/KeyFileOwnership.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace {

using CompanionCore::KeyFileOwnership;
namespace fs = std::filesystem;

constexpr uid_t nobody = 65534;

/// A home folder with `.ssh/authorized_keys` in it, all of this account's.
class KeyFileOwnershipTest : public testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can hand a file to another owner";
        }
        fs::create_directories(sshFolder());
        std::ofstream(keyFile()) << "ssh-ed25519 AAAA phone\n";
    }

    fs::path home() const { return m_root / "home"; }
    fs::path sshFolder() const { return home() / ".ssh"; }
    fs::path keyFile() const { return sshFolder() / "authorized_keys"; }

    static void giveToNobody(const fs::path& path) { ASSERT_EQ(::lchown(path.c_str(), nobody, nobody), 0); }

    TestSupport::TemporaryDirectory m_root;
};

TEST_F(KeyFileOwnershipTest, FilesAndFoldersOfTheAccountPass) {
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()), std::nullopt);
}

TEST_F(KeyFileOwnershipTest, AKeyFileOfAnotherAccountIsNamed) {
    giveToNobody(keyFile());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()),
              (KeyFileOwnership::Mismatch{keyFile(), nobody}));
}

TEST_F(KeyFileOwnershipTest, ASshFolderOfAnotherAccountIsNamed) {
    giveToNobody(sshFolder());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()),
              (KeyFileOwnership::Mismatch{sshFolder(), nobody}));
}

TEST_F(KeyFileOwnershipTest, AHomeOfAnotherAccountAboveTheSshFolderIsNamed) {
    giveToNobody(home());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()), (KeyFileOwnership::Mismatch{home(), nobody}));
}

TEST_F(KeyFileOwnershipTest, TheKeyFileIsNamedBeforeItsFolders) {
    giveToNobody(home());
    giveToNobody(sshFolder());
    giveToNobody(keyFile());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()),
              (KeyFileOwnership::Mismatch{keyFile(), nobody}));
}

TEST_F(KeyFileOwnershipTest, EverythingOfTheOtherAccountPassesForThatAccount) {
    giveToNobody(home());
    giveToNobody(sshFolder());
    giveToNobody(keyFile());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), nobody), std::nullopt);
}

TEST_F(KeyFileOwnershipTest, AFolderNotNamedSshLeavesTheFolderAboveUnchecked) {
    // A key file chosen by hand, in a folder of the account's inside a folder of another's.
    fs::create_directories(m_root / "shared" / "keys");
    std::ofstream(m_root / "shared" / "keys" / "authorized_keys").flush();
    giveToNobody(m_root / "shared");
    EXPECT_EQ(KeyFileOwnership::check(m_root / "shared" / "keys" / "authorized_keys", ::geteuid()),
              std::nullopt);
}

TEST_F(KeyFileOwnershipTest, MissingFilesAndFoldersAreSkipped) {
    const fs::path fresh = m_root / "fresh";
    fs::create_directory(fresh);
    EXPECT_EQ(KeyFileOwnership::check(fresh / ".ssh" / "authorized_keys", ::geteuid()), std::nullopt);
    giveToNobody(fresh);
    // The home is still judged when neither its .ssh nor the key file exists yet.
    EXPECT_EQ(KeyFileOwnership::check(fresh / ".ssh" / "authorized_keys", ::geteuid()),
              (KeyFileOwnership::Mismatch{fresh, nobody}));
}

TEST_F(KeyFileOwnershipTest, ALinkedKeyFileIsJudgedByTheFileItNames) {
    std::ofstream(m_root / "theirs").flush();
    giveToNobody(m_root / "theirs");
    fs::remove(keyFile());
    fs::create_symlink(m_root / "theirs", keyFile());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()),
              (KeyFileOwnership::Mismatch{keyFile(), nobody}));

    fs::remove(keyFile());
    std::ofstream(m_root / "ours").flush();
    fs::create_symlink(m_root / "ours", keyFile());
    giveToNobody(keyFile());
    EXPECT_EQ(KeyFileOwnership::check(keyFile(), ::geteuid()), std::nullopt);
}

TEST(KeyFileOwnershipDescribeTest, NamesThePathItsOwnerAndTheAccountThePhoneWouldUse) {
    EXPECT_EQ(KeyFileOwnership::named({"/home/ana/.ssh", nobody}, 0),
              (KeyFileOwnership::Named{"/home/ana/.ssh", "nobody", "root"}));
    EXPECT_EQ(KeyFileOwnership::describe(KeyFileOwnership::named({"/home/ana/.ssh", nobody}, 0)),
              "/home/ana/.ssh belongs to nobody, not to root, the account the phone would log in to");
}

TEST(KeyFileOwnershipDescribeTest, AnAccountWithoutANameIsGivenByNumber) {
    EXPECT_EQ(KeyFileOwnership::describe(KeyFileOwnership::named({"/home/ana", 4'000'000}, 0)),
              "/home/ana belongs to uid 4000000, not to root, the account the phone would log in to");
    EXPECT_EQ(KeyFileOwnership::describe(KeyFileOwnership::named({"/home/ana", 0}, 4'000'001)),
              "/home/ana belongs to root, not to uid 4000001, the account the phone would log in to");
}

TEST(KeyFileOwnershipAccountTest, ANamedAccountIsFoundByName) {
    EXPECT_EQ(KeyFileOwnership::accountOf("root"), 0u);
    EXPECT_EQ(KeyFileOwnership::accountOf("nobody"), nobody);
}

TEST(KeyFileOwnershipAccountTest, AnUnknownNameIsThisProcesssOwnAccount) {
    EXPECT_EQ(KeyFileOwnership::accountOf("no-such-account-nuvexa"), ::geteuid());
    EXPECT_EQ(KeyFileOwnership::accountOf(""), ::geteuid());
}

} // namespace
