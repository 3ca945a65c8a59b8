#include "CompanionCore/KeyFileModes.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace {

using CompanionCore::Obstacle;
namespace fs = std::filesystem;

class KeyFileModesTest : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(m_home.path() / ".ssh");
        std::ofstream(keyFile()) << "ssh-ed25519 AAAA\n";
        fs::permissions(m_home.path(), fs::perms(0755));
        fs::permissions(m_home.path() / ".ssh", fs::perms(0700));
        fs::permissions(keyFile(), fs::perms(0600));
    }

    fs::path keyFile() const { return m_home.path() / ".ssh" / "authorized_keys"; }
    std::vector<Obstacle> obstacles() const {
        return CompanionCore::KeyFileModes::obstacles(m_home.path(), keyFile(), ::getuid());
    }

    TestSupport::TemporaryDirectory m_home;
};

TEST_F(KeyFileModesTest, TheUsualModesPass) {
    EXPECT_TRUE(obstacles().empty());
}

TEST_F(KeyFileModesTest, AHomeWritableByOthersIsNamed) {
    fs::permissions(m_home.path(), fs::perms(0777));
    EXPECT_EQ(obstacles(), std::vector<Obstacle>{Obstacle::homeModes});
}

TEST_F(KeyFileModesTest, AFolderWritableByOthersIsNamed) {
    fs::permissions(m_home.path() / ".ssh", fs::perms(0777));
    EXPECT_EQ(obstacles(), std::vector<Obstacle>{Obstacle::sshFolderModes});
}

TEST_F(KeyFileModesTest, AKeyFileWritableByOthersIsNamed) {
    fs::permissions(keyFile(), fs::perms(0666));
    EXPECT_EQ(obstacles(), std::vector<Obstacle>{Obstacle::keyFileModes});
}

TEST_F(KeyFileModesTest, AMissingFileIsNoModeProblem) {
    fs::remove(keyFile());
    EXPECT_TRUE(obstacles().empty());
}

} // namespace
