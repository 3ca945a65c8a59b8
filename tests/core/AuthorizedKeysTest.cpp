#include "CompanionCore/AuthorizedKeys.h"
#include "CompanionCore/KeyFileSession.h"

#include "support/Files.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

using namespace CompanionCore;
namespace fs = std::filesystem;

namespace {

using TestSupport::readFile;
using TestSupport::writeFile;

const std::string blob = "AAAAC3NzaC1lZDI1NTE5AAAAIHXgfE9LH6QUUle6prFZitvEl1GZjT5wcwGR1y3lGXXT";
const std::string otherBlob = "AAAAC3NzaC1lZDI1NTE5AAAAIK8ukunMc8/xzR/VDl2xjxFCKCqTJ2/etdEaiQhjPRJB";
const std::string line = "ssh-ed25519 " + blob + " nuvexa:iPhone";

unsigned modeOf(const fs::path& path) {
    struct stat info {};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

std::set<std::string> entriesOf(const fs::path& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

std::string normalized(std::string_view key, std::string_view comment) {
    const auto result = AuthorizedKeys::normalize(key, comment);
    EXPECT_TRUE(result);
    return result ? *result : std::string();
}

bool refused(std::string_view key) {
    const auto result = AuthorizedKeys::normalize(key, "c");
    return !result && result.failure() == AuthorizedKeys::Failure::notAPublicKey;
}

/// A home directory with an existing 0700 ".ssh" directory.
struct Home {
    TestSupport::TemporaryDirectory root;
    fs::path ssh = root / ".ssh";
    fs::path keys = ssh / "authorized_keys";
    Home() { fs::create_directory(ssh); }
};

} // namespace

TEST(AuthorizedKeysTest, NormalizesATabbedKeyWithLineBreakAndOwnComment) {
    EXPECT_EQ(normalized("ssh-ed25519\t" + blob + " me@phone\n", "nuvexa:iPhone"),
              "ssh-ed25519 " + blob + " nuvexa:iPhone");
}

TEST(AuthorizedKeysTest, NormalizesAcrossUnicodeWhitespace) {
    EXPECT_EQ(normalized("\r\n ssh-ed25519\xE3\x80\x80" + blob + "\xC2\xA0" + "x", "c"),
              "ssh-ed25519 " + blob + " c");
}

TEST(AuthorizedKeysTest, AcceptsARealKeyOfEveryListedType) {
    namespace Keys = TestSupport::SampleKeys;
    const std::vector<std::pair<std::string_view, std::string>> keys = {
        {"ssh-ed25519", Keys::ed25519},
        {"ssh-rsa", Keys::rsa},
        {"ecdsa-sha2-nistp256", Keys::ecdsa256},
        {"ecdsa-sha2-nistp384", Keys::ecdsa384},
        {"ecdsa-sha2-nistp521", Keys::ecdsa521},
        {"sk-ssh-ed25519@openssh.com", Keys::skEd25519},
        {"sk-ecdsa-sha2-nistp256@openssh.com", Keys::skEcdsa256},
    };
    ASSERT_EQ(keys.size(), AuthorizedKeys::keyTypes.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(keys[i].first, AuthorizedKeys::keyTypes[i]);
        const std::string key = std::string(keys[i].first) + " " + keys[i].second;
        EXPECT_EQ(normalized(key, ""), key);
    }
}

TEST(AuthorizedKeysTest, RefusesATypeFollowedByABlobThatHoldsNoKey) {
    EXPECT_TRUE(refused("ssh-ed25519 AAAA"));
}

TEST(AuthorizedKeysTest, RefusesARealKeyWithALineFeedInsideItsBase64) {
    const std::string& key = TestSupport::SampleKeys::rsa;
    EXPECT_TRUE(refused("ssh-rsa " + key.substr(0, 100) + "\n" + key.substr(100)));
}

TEST(AuthorizedKeysTest, RefusesAnRsaKeyLabelledEd25519) {
    EXPECT_TRUE(refused("ssh-ed25519 " + TestSupport::SampleKeys::rsa));
}

TEST(AuthorizedKeysTest, RefusesADsaKey) {
    EXPECT_TRUE(refused("ssh-dss " + blob));
}

TEST(AuthorizedKeysTest, RefusesACertificateType) {
    EXPECT_TRUE(refused("ssh-ed25519-cert-v01@openssh.com " + blob));
}

TEST(AuthorizedKeysTest, ComparesTheTypeCaseSensitively) {
    EXPECT_TRUE(refused("SSH-ED25519 " + blob));
}

TEST(AuthorizedKeysTest, RefusesABlobWithACharacterOutsideBase64) {
    std::string broken = blob;
    broken[10] = '*';
    EXPECT_TRUE(refused("ssh-ed25519 " + broken));
}

TEST(AuthorizedKeysTest, RefusesUrlSafeBase64) {
    EXPECT_TRUE(refused("ssh-ed25519 AAAA-_AA"));
}

TEST(AuthorizedKeysTest, RefusesABlobWithMissingPadding) {
    EXPECT_TRUE(refused("ssh-ed25519 AAAAAA"));
}

TEST(AuthorizedKeysTest, RefusesABlobWithPaddingInTheMiddle) {
    EXPECT_TRUE(refused("ssh-ed25519 AA==AAAA"));
}

TEST(AuthorizedKeysTest, RefusesABlobOfOnlyPadding) {
    EXPECT_TRUE(refused("ssh-ed25519 ===="));
}

TEST(AuthorizedKeysTest, AcceptsBlobsEndingInTheRequiredPadding) {
    const std::string one = "ecdsa-sha2-nistp256 " + TestSupport::SampleKeys::ecdsa256;
    const std::string two = "ecdsa-sha2-nistp384 " + TestSupport::SampleKeys::ecdsa384;
    ASSERT_TRUE(one.ends_with("=") && !one.ends_with("=="));
    ASSERT_TRUE(two.ends_with("=="));
    EXPECT_EQ(normalized(one, ""), one);
    EXPECT_EQ(normalized(two, ""), two);
}

TEST(AuthorizedKeysTest, RefusesAKeyOfFewerThanTwoPieces) {
    EXPECT_TRUE(refused(""));
    EXPECT_TRUE(refused(" \n "));
    EXPECT_TRUE(refused("ssh-ed25519"));
}

TEST(AuthorizedKeysTest, AnEmptyCommentLeavesNoTrailingBlank) {
    EXPECT_EQ(normalized("ssh-ed25519 " + blob + " own comment", ""), "ssh-ed25519 " + blob);
}

TEST(AuthorizedKeysTest, ABlankCommentLeavesNoTrailingBlank) {
    EXPECT_EQ(normalized("ssh-ed25519 " + blob, " \t "), "ssh-ed25519 " + blob);
}

TEST(AuthorizedKeysTest, ALineFeedInTheCommentBecomesABlank) {
    EXPECT_EQ(normalized("ssh-ed25519 " + blob, "nuvexa:Ana\nPhone"),
              "ssh-ed25519 " + blob + " nuvexa:Ana Phone");
}

TEST(AuthorizedKeysTest, TheCommentShowsACarriageReturnAsTheReplacementAndLosesOuterBlanks) {
    EXPECT_EQ(normalized("ssh-ed25519 " + blob, "  nuvexa:Ana\r\t"),
              "ssh-ed25519 " + blob + " nuvexa:Ana\xEF\xBF\xBD");
}

TEST(AuthorizedKeysTest, NoTerminalSequenceInTheCommentReachesTheLine) {
    const auto line = normalized("ssh-ed25519 " + blob, "nuvexa:\x1B]0;X\x07\x1B[2J\xC2\x9B"
                                                        "1m\xE2\x80\xAEgpj.exe");
    EXPECT_EQ(line, "ssh-ed25519 " + blob +
                        " nuvexa:\xEF\xBF\xBD]0;X\xEF\xBF\xBD\xEF\xBF\xBD[2J\xEF\xBF\xBD"
                        "1m\xEF\xBF\xBDgpj.exe");
}

TEST(AuthorizedKeysTest, KeyIdentityIsTypeAndBlob) {
    EXPECT_EQ(AuthorizedKeys::keyIdentity(" ssh-ed25519\t" + blob + " some comment\r"),
              "ssh-ed25519 " + blob);
}

TEST(AuthorizedKeysTest, KeyIdentityOfAOnePieceLineIsThatPiece) {
    EXPECT_EQ(AuthorizedKeys::keyIdentity("  lonely  "), "lonely");
}

TEST(AuthorizedKeysTest, KeyIdentityOfALineWithOptionsStartsWithTheOptions) {
    EXPECT_EQ(AuthorizedKeys::keyIdentity("command=\"x\" ssh-ed25519 " + blob), "command=\"x\" ssh-ed25519");
}

TEST(AuthorizedKeysTest, InstallingWithoutSshDirectoryCreatesItPrivate) {
    TestSupport::TemporaryDirectory home;
    const fs::path keys = home / ".ssh/authorized_keys";
    EXPECT_TRUE(AuthorizedKeys::install(line, keys));
    EXPECT_EQ(modeOf(home / ".ssh"), 0700u);
    EXPECT_EQ(modeOf(keys), 0600u);
    EXPECT_EQ(readFile(keys), line + "\n");
}

TEST(AuthorizedKeysTest, InstallingCreatesMissingParentDirectoriesPrivate) {
    TestSupport::TemporaryDirectory home;
    const fs::path keys = home / "a/b/.ssh/authorized_keys";
    EXPECT_TRUE(AuthorizedKeys::install(line, keys));
    EXPECT_EQ(modeOf(home / "a"), 0700u);
    EXPECT_EQ(modeOf(home / "a/b/.ssh"), 0700u);
    EXPECT_EQ(readFile(keys), line + "\n");
}

TEST(AuthorizedKeysTest, AnExistingDirectoryKeepsItsPermissions) {
    Home home;
    fs::permissions(home.ssh, static_cast<fs::perms>(0755));
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(modeOf(home.ssh), 0755u);
}

TEST(AuthorizedKeysTest, TheSameKeyWithAnotherCommentIsAddedOnce) {
    Home home;
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    const std::string before = readFile(home.keys);
    EXPECT_FALSE(AuthorizedKeys::install("ssh-ed25519 " + blob + " nuvexa:Other", home.keys));
    EXPECT_EQ(readFile(home.keys), before);
}

TEST(AuthorizedKeysTest, AKeyAlreadyPresentLeavesTheFileAndItsModeAlone) {
    Home home;
    writeFile(home.keys, "ssh-ed25519 " + blob + " laptop\n");
    fs::permissions(home.keys, static_cast<fs::perms>(0644));
    struct stat before {};
    ASSERT_EQ(::stat(home.keys.c_str(), &before), 0);
    EXPECT_FALSE(AuthorizedKeys::install(line, home.keys));
    struct stat after {};
    ASSERT_EQ(::stat(home.keys.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(modeOf(home.keys), 0644u);
    EXPECT_EQ(readFile(home.keys), "ssh-ed25519 " + blob + " laptop\n");
}

TEST(AuthorizedKeysTest, AKeyAfterOptionsIsNotADuplicate) {
    Home home;
    const std::string existing = "command=\"/bin/true\" ssh-ed25519 " + blob + " restricted\n";
    writeFile(home.keys, existing);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(readFile(home.keys), existing + line + "\n");
}

TEST(AuthorizedKeysTest, AKeyOnACarriageReturnLineIsADuplicate) {
    Home home;
    writeFile(home.keys, "ssh-ed25519 " + blob + "\r\n");
    EXPECT_FALSE(AuthorizedKeys::install(line, home.keys));
}

TEST(AuthorizedKeysTest, AMissingFinalLineFeedIsAddedBeforeTheNewLine) {
    Home home;
    writeFile(home.keys, "ssh-ed25519 " + otherBlob + " laptop");
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(readFile(home.keys), "ssh-ed25519 " + otherBlob + " laptop\n" + line + "\n");
}

TEST(AuthorizedKeysTest, BlankLinesAreKept) {
    Home home;
    const std::string existing = "\nssh-ed25519 " + otherBlob + " laptop\n\n\n";
    writeFile(home.keys, existing);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(readFile(home.keys), existing + line + "\n");
}

TEST(AuthorizedKeysTest, ExistingKeysAreNeverRemovedOrAltered) {
    Home home;
    const std::string existing = "# my keys\r\n"
                                 "from=\"10.0.0.0/8\" ssh-rsa AAAAB3NzaC1yc2E= work\n"
                                 "   ssh-ed25519   " +
                                 otherBlob +
                                 "   spaced   \n"
                                 "garbage line without a key\n"
                                 "\t\n"
                                 "ssh-ed25519 " +
                                 otherBlob + " again";
    writeFile(home.keys, existing);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(readFile(home.keys), existing + "\n" + line + "\n");
}

TEST(AuthorizedKeysTest, AnAddedKeyKeepsEveryModeTheSshServerAccepts) {
    for (const unsigned mode : {0600u, 0640u, 0644u, 0400u}) {
        Home home;
        writeFile(home.keys, "ssh-ed25519 " + otherBlob + "\n");
        fs::permissions(home.keys, static_cast<fs::perms>(mode));
        EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
        EXPECT_EQ(modeOf(home.keys), mode) << std::oct << mode;
        EXPECT_EQ(readFile(home.keys), "ssh-ed25519 " + otherBlob + "\n" + line + "\n");
    }
}

TEST(AuthorizedKeysTest, AnAddedKeyTakesAwayOnlyTheWriteBitsTheSshServerRefuses) {
    for (const auto& [before, after] :
         {std::pair{0666u, 0644u}, std::pair{0664u, 0644u}, std::pair{0622u, 0600u}}) {
        Home home;
        writeFile(home.keys, "ssh-ed25519 " + otherBlob + "\n");
        fs::permissions(home.keys, static_cast<fs::perms>(before));
        EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
        EXPECT_EQ(modeOf(home.keys), after) << std::oct << before;
    }
}

TEST(AuthorizedKeysTest, AnAddedKeyKeepsTheFilesOwner) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can hand a file to another owner";
    }
    Home home;
    writeFile(home.keys, "ssh-ed25519 " + otherBlob + "\n");
    ASSERT_EQ(::chown(home.keys.c_str(), 65534, 65534), 0);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    struct stat info {};
    ASSERT_EQ(::stat(home.keys.c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, 65534u);
    EXPECT_EQ(info.st_gid, 65534u);
}

TEST(AuthorizedKeysTest, AReadOnlyFileIsReplacedWithItsModeAndOwner) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not restrict root: the file is written in place";
    }
    Home home;
    writeFile(home.keys, "ssh-ed25519 " + otherBlob + "\n");
    fs::permissions(home.keys, static_cast<fs::perms>(0400));
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(modeOf(home.keys), 0400u);
    EXPECT_EQ(readFile(home.keys), "ssh-ed25519 " + otherBlob + "\n" + line + "\n");
    EXPECT_EQ(entriesOf(home.ssh), std::set<std::string>{"authorized_keys"});
}

TEST(AuthorizedKeysTest, AnAddedKeyKeepsAHardLink) {
    Home home;
    writeFile(home.keys, "ssh-ed25519 " + otherBlob + "\n");
    const fs::path twin = home.root / "twin";
    fs::create_hard_link(home.keys, twin);
    struct stat before {};
    ASSERT_EQ(::stat(home.keys.c_str(), &before), 0);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    struct stat after {};
    ASSERT_EQ(::stat(home.keys.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_nlink, 2u);
    EXPECT_EQ(readFile(twin), readFile(home.keys));
}

TEST(AuthorizedKeysTest, AFifoInPlaceOfTheFileIsRefusedWithoutWaiting) {
    Home home;
    ASSERT_EQ(::mkfifo(home.keys.c_str(), 0600), 0);
    try {
        AuthorizedKeys::install(line, home.keys);
        FAIL() << "no error thrown";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find("is not a regular file"), std::string::npos) << error.what();
    }
}

TEST(AuthorizedKeysTest, ALinkToADeviceIsRefusedWithoutReadingIt) {
    Home home;
    fs::create_symlink("/dev/zero", home.keys);
    EXPECT_THROW(AuthorizedKeys::install(line, home.keys), std::system_error);
    EXPECT_TRUE(fs::is_symlink(home.keys));
}

TEST(AuthorizedKeysTest, AFileLargerThanTheBoundIsRefusedAndLeftAlone) {
    Home home;
    {
        std::ofstream out(home.keys, std::ios::binary);
        out.seekp(static_cast<std::streamoff>(KeyFileSession::maximumSize));
        out.put('\n');
    }
    EXPECT_THROW(AuthorizedKeys::install(line, home.keys), std::system_error);
    EXPECT_EQ(fs::file_size(home.keys), KeyFileSession::maximumSize + 1);
}

TEST(AuthorizedKeysTest, AFileThatIsNotUtf8KeepsEveryByteAndGainsTheLine) {
    Home home;
    const std::string tail(" caf\xE9\xFF\x00x\n", 9);
    const std::string existing = "ssh-ed25519 " + otherBlob + tail;
    writeFile(home.keys, existing);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(readFile(home.keys), existing + line + "\n");
}

TEST(AuthorizedKeysTest, ASymlinkedFileStaysALinkAndItsTargetGetsTheContent) {
    Home home;
    const fs::path target = home.root / "dotfiles-keys";
    writeFile(target, "ssh-ed25519 " + otherBlob + "\n");
    fs::create_symlink(target, home.keys);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_TRUE(fs::is_symlink(home.keys));
    EXPECT_EQ(fs::read_symlink(home.keys), target);
    EXPECT_EQ(readFile(target), "ssh-ed25519 " + otherBlob + "\n" + line + "\n");
}

TEST(AuthorizedKeysTest, ARelativeSymlinkIsResolvedFromItsOwnDirectory) {
    Home home;
    fs::create_directory(home.root / "dotfiles");
    fs::create_symlink("../dotfiles/keys", home.keys);
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_TRUE(fs::is_symlink(home.keys));
    EXPECT_EQ(readFile(home.root / "dotfiles/keys"), line + "\n");
}

TEST(AuthorizedKeysTest, NoTemporaryFileIsLeftAfterSuccess) {
    Home home;
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    EXPECT_EQ(entriesOf(home.ssh), std::set<std::string>{"authorized_keys"});
}

TEST(AuthorizedKeysTest, ADirectoryInPlaceOfTheFileThrowsAndIsLeftAlone) {
    Home home;
    fs::create_directory(home.keys);
    EXPECT_THROW(AuthorizedKeys::install(line, home.keys), std::system_error);
    EXPECT_TRUE(fs::is_directory(home.keys));
    EXPECT_TRUE(fs::is_empty(home.keys));
    EXPECT_EQ(entriesOf(home.ssh), std::set<std::string>{"authorized_keys"});
}

TEST(AuthorizedKeysTest, APlainFileInPlaceOfTheDirectoryThrows) {
    TestSupport::TemporaryDirectory home;
    writeFile(home / ".ssh", "not a directory");
    EXPECT_THROW(AuthorizedKeys::install(line, home / ".ssh/authorized_keys"), std::system_error);
    EXPECT_EQ(readFile(home / ".ssh"), "not a directory");
}

TEST(AuthorizedKeysTest, TheSystemErrorNamesThePath) {
    Home home;
    fs::create_directory(home.keys);
    try {
        AuthorizedKeys::install(line, home.keys);
        FAIL() << "no error thrown";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find(home.keys.string()), std::string::npos) << error.what();
    }
}

TEST(AuthorizedKeysTest, AnUnreadableFileThrowsAndIsLeftAlone) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not restrict root";
    }
    Home home;
    const std::string existing = "ssh-ed25519 " + otherBlob + "\n";
    writeFile(home.keys, existing);
    fs::permissions(home.keys, fs::perms::none);
    EXPECT_THROW(AuthorizedKeys::install(line, home.keys), std::system_error);
    EXPECT_EQ(modeOf(home.keys), 0u);
    fs::permissions(home.keys, fs::perms::owner_read);
    EXPECT_EQ(readFile(home.keys), existing);
    EXPECT_EQ(entriesOf(home.ssh), std::set<std::string>{"authorized_keys"});
}

TEST(AuthorizedKeysTest, AReadOnlyDirectoryStillTakesAnAppendToItsFile) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not restrict root";
    }
    Home home;
    const std::string existing = "ssh-ed25519 " + otherBlob + "\n";
    writeFile(home.keys, existing);
    fs::permissions(home.ssh, static_cast<fs::perms>(0500));
    EXPECT_TRUE(AuthorizedKeys::install(line, home.keys));
    fs::permissions(home.ssh, static_cast<fs::perms>(0700));
    EXPECT_EQ(readFile(home.keys), existing + line + "\n");
    EXPECT_EQ(entriesOf(home.ssh), std::set<std::string>{"authorized_keys"});
}

TEST(AuthorizedKeysTest, AReadOnlyDirectoryWithoutTheFileThrowsAndLeavesNothing) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not restrict root";
    }
    Home home;
    fs::permissions(home.ssh, static_cast<fs::perms>(0500));
    EXPECT_THROW(AuthorizedKeys::install(line, home.keys), std::system_error);
    fs::permissions(home.ssh, static_cast<fs::perms>(0700));
    EXPECT_TRUE(entriesOf(home.ssh).empty());
}

TEST(AuthorizedKeysTest, ReadingAMissingFileGivesNoKeys) {
    Home home;
    const auto content = AuthorizedKeys::read(home.keys);
    ASSERT_TRUE(content);
    EXPECT_EQ(*content, "");
    EXPECT_FALSE(fs::exists(home.keys)) << "reading creates nothing";
}

TEST(AuthorizedKeysTest, ReadingGivesTheFileAsItIs) {
    Home home;
    writeFile(home.keys, line + "\n");
    const auto content = AuthorizedKeys::read(home.keys);
    ASSERT_TRUE(content);
    EXPECT_EQ(*content, line + "\n");
}

TEST(AuthorizedKeysTest, ReadingADirectoryInPlaceOfTheFileAnswersThatItIsNoRegularFile) {
    Home home;
    fs::create_directory(home.keys);
    const auto content = AuthorizedKeys::read(home.keys);
    ASSERT_FALSE(content);
    EXPECT_EQ(content.failure().kind, KeyFileFailure::Kind::notRegularFile);
    EXPECT_EQ(content.failure().path, home.keys);
    EXPECT_EQ(content.failure().message(), home.keys.string() + " is not a regular file: Invalid argument");
}

TEST(AuthorizedKeysTest, ReadingAFifoInPlaceOfTheFileAnswersWithoutWaiting) {
    Home home;
    ASSERT_EQ(::mkfifo(home.keys.c_str(), 0600), 0);
    const auto content = AuthorizedKeys::read(home.keys);
    ASSERT_FALSE(content);
    EXPECT_EQ(content.failure().kind, KeyFileFailure::Kind::notRegularFile);
}

TEST(AuthorizedKeysTest, ReadingAFileLargerThanTheBoundAnswersThatItIsTooLarge) {
    Home home;
    {
        std::ofstream out(home.keys, std::ios::binary);
        out.seekp(static_cast<std::streamoff>(KeyFileSession::maximumSize));
        out.put('\n');
    }
    const auto content = AuthorizedKeys::read(home.keys);
    ASSERT_FALSE(content);
    EXPECT_EQ(content.failure().kind, KeyFileFailure::Kind::tooLarge);
    EXPECT_EQ(content.failure().error, std::errc::file_too_large);
}

TEST(AuthorizedKeysTest, ReadingAFileOfExactlyTheBoundGivesItsContent) {
    Home home;
    writeFile(home.keys, std::string(KeyFileSession::maximumSize, '#'));
    const auto content = AuthorizedKeys::read(home.keys);
    ASSERT_TRUE(content);
    EXPECT_EQ(content->size(), KeyFileSession::maximumSize);
}

TEST(AuthorizedKeysTest, ReadingThroughAPlainFileInPlaceOfTheFolderCarriesTheSystemsError) {
    TestSupport::TemporaryDirectory home;
    writeFile(home / ".ssh", "not a directory");
    const auto content = AuthorizedKeys::read(home / ".ssh/authorized_keys");
    ASSERT_FALSE(content);
    EXPECT_EQ(content.failure().kind, KeyFileFailure::Kind::unreadable);
    EXPECT_EQ(content.failure().error, std::errc::not_a_directory);
    EXPECT_EQ(content.failure().message(),
              "cannot read " + (home / ".ssh/authorized_keys").string() + ": Not a directory");
}

TEST(AuthorizedKeysTest, ReadingAFileThatMayNotBeReadAnswersWithThePermissionError) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not restrict root; the doctor's test runs this as another user";
    }
    Home home;
    writeFile(home.keys, line + "\n");
    fs::permissions(home.keys, fs::perms::none);
    const auto content = AuthorizedKeys::read(home.keys);
    fs::permissions(home.keys, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_FALSE(content);
    EXPECT_EQ(content.failure().kind, KeyFileFailure::Kind::unreadable);
    EXPECT_EQ(content.failure().error, std::errc::permission_denied);
    EXPECT_EQ(content.failure().message(), "cannot read " + home.keys.string() + ": Permission denied");
}
