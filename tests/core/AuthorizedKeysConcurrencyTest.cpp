#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/PairedDevices.h"

#include "support/Files.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <string>
#include <thread>
#include <vector>

// Writers that overlap on one key file: companions (each install or revoke its own process or
// thread) and tools that only append. Every round starts them together; no line may ever be lost,
// whatever the interleaving. Nothing here depends on timing: each round checks the end state.
namespace {

using TestSupport::readFile;

namespace fs = std::filesystem;
namespace Keys = TestSupport::SampleKeys;
using namespace CompanionCore;

constexpr int rounds = 200;

bool contains(const std::string& text, const std::string& line) {
    return text.find(line + "\n") != std::string::npos;
}

/// Appends one line the way a shell's `>>` does: open for appending, one write, close.
void shellAppend(const fs::path& path, const std::string& line) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    const std::string bytes = line + "\n";
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(fd);
}

/// A file as lived in: a comment and a few hundred other keys.
std::string livedInFile() {
    std::string text = "# keys of this account\n";
    for (int i = 0; i < 300; ++i) {
        text += "ssh-ed25519 " + Keys::ed25519 + std::to_string(i) + " host" + std::to_string(i) + "\n";
    }
    return text;
}

/// A distinct line for each phone (the file machinery does not look inside the blob).
std::string phoneLine(int i) {
    return "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAA" + std::to_string(1000 + i) + " nuvexa:phone " +
           std::to_string(i);
}

const std::string phone = "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPhone";
const std::string tablet = "ssh-rsa " + Keys::rsa + " nuvexa:iPad";

} // namespace

TEST(AuthorizedKeysConcurrencyTest, TwoInstallsAtTheSameMomentKeepBothKeys) {
    TestSupport::TemporaryDirectory home;
    const fs::path keys = home / ".ssh" / "authorized_keys";
    const std::string start = livedInFile();
    for (int round = 0; round < rounds; ++round) {
        fs::create_directories(keys.parent_path());
        std::ofstream(keys, std::ios::binary | std::ios::trunc) << start;
        std::latch go(2);
        std::thread first([&] {
            go.arrive_and_wait();
            AuthorizedKeys::install(phone, keys);
        });
        std::thread second([&] {
            go.arrive_and_wait();
            AuthorizedKeys::install(tablet, keys);
        });
        first.join();
        second.join();
        const std::string after = readFile(keys);
        ASSERT_TRUE(after.starts_with(start)) << "round " << round;
        ASSERT_TRUE(contains(after, phone) && contains(after, tablet)) << "round " << round;
        ASSERT_EQ(after.size(), start.size() + phone.size() + tablet.size() + 2) << "round " << round;
    }
}

TEST(AuthorizedKeysConcurrencyTest, TwoCompanionProcessesInstallingAtOnceKeepBothKeys) {
    TestSupport::TemporaryDirectory home;
    const fs::path keys = home / ".ssh" / "authorized_keys";
    for (int round = 0; round < rounds / 4; ++round) {
        fs::remove_all(keys.parent_path());
        std::vector<pid_t> children;
        for (const std::string* line : {&phone, &tablet}) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                try {
                    AuthorizedKeys::install(*line, keys);
                } catch (...) {
                    ::_exit(1);
                }
                ::_exit(0);
            }
            children.push_back(child);
        }
        for (const pid_t child : children) {
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "round " << round;
        }
        const std::string after = readFile(keys);
        ASSERT_TRUE(contains(after, phone) && contains(after, tablet)) << "round " << round << ":\n" << after;
        ASSERT_EQ(after.size(), phone.size() + tablet.size() + 2) << "round " << round;
    }
}

TEST(AuthorizedKeysConcurrencyTest, AnAppendingToolNeverLosesALineToAnInstall) {
    TestSupport::TemporaryDirectory home;
    const fs::path keys = home / ".ssh" / "authorized_keys";
    constexpr int appendedLines = 400;
    constexpr int installs = 40;
    for (int round = 0; round < rounds / 40; ++round) {
        fs::create_directories(keys.parent_path());
        std::ofstream(keys, std::ios::binary | std::ios::trunc) << livedInFile();
        std::latch go(2);
        std::thread appender([&] {
            go.arrive_and_wait();
            for (int i = 0; i < appendedLines; ++i) {
                shellAppend(keys, "# appended " + std::to_string(i));
            }
        });
        std::thread installer([&] {
            go.arrive_and_wait();
            for (int i = 0; i < installs; ++i) {
                AuthorizedKeys::install(phoneLine(i), keys);
            }
        });
        appender.join();
        installer.join();
        const std::string after = readFile(keys);
        for (int i = 0; i < appendedLines; ++i) {
            ASSERT_TRUE(contains(after, "# appended " + std::to_string(i)))
                << "round " << round << ", line " << i;
        }
        for (int i = 0; i < installs; ++i) {
            ASSERT_TRUE(contains(after, phoneLine(i))) << "round " << round << ", phone " << i;
        }
    }
}

TEST(AuthorizedKeysConcurrencyTest, ARevokeRacingAPairingNeverLosesTheNewKey) {
    TestSupport::TemporaryDirectory home;
    const fs::path keys = home / ".ssh" / "authorized_keys";
    const std::string start = livedInFile() + phone + "\n";
    for (int round = 0; round < rounds; ++round) {
        fs::create_directories(keys.parent_path());
        std::ofstream(keys, std::ios::binary | std::ios::trunc) << start;
        std::latch go(2);
        std::thread revoker([&] {
            go.arrive_and_wait();
            AuthorizedKeys::rewrite(keys, [](std::string_view text) {
                return PairedDevices::withoutDevice(text, "ssh-ed25519", Keys::ed25519);
            });
        });
        std::thread pairer([&] {
            go.arrive_and_wait();
            AuthorizedKeys::install(tablet, keys);
        });
        revoker.join();
        pairer.join();
        const std::string after = readFile(keys);
        ASSERT_EQ(after, livedInFile() + tablet + "\n") << "round " << round;
    }
}
