#include "Companion/LoginShell.h"

#include "CompanionCore/EnvironmentFile.h"

#include <fstream>
#include <map>
#include <pwd.h>
#include <sstream>

namespace Companion::LoginShell {

namespace {

/// Large enough for the user entries of any ordinary system.
constexpr std::size_t entryBufferSize = 16384;
/// What sshd would put in SSH_CONNECTION and SSH_CLIENT for a phone on loopback.
constexpr const char* sshConnection = "127.0.0.1 0 127.0.0.1 22";
constexpr const char* sshClient = "127.0.0.1 0 22";

std::string fileText(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

std::optional<Account> account(const std::string& user) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(entryBufferSize);
    if (::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return std::nullopt;
    }
    const std::string shell = entry.pw_shell != nullptr ? entry.pw_shell : "";
    return Account{entry.pw_name, entry.pw_dir, shell.empty() ? std::string(fallbackShell) : shell};
}

std::vector<std::string> environment(const Account& account, const SshLogin& login) {
    // Ordered by name, so the same login always gives the same list.
    std::map<std::string, std::string> variables{
        {"USER", account.user},    {"LOGNAME", account.user},   {"HOME", account.home.string()},
        {"SHELL", account.shell},  {"PATH", login.defaultPath}, {"SSH_CONNECTION", sshConnection},
        {"SSH_CLIENT", sshClient},
    };
    for (const auto& file : login.environmentFiles) {
        for (auto& [name, value] : CompanionCore::EnvironmentFile::parse(fileText(file))) {
            variables[name] = value;
        }
    }
    std::vector<std::string> entries;
    for (const auto& [name, value] : variables) {
        entries.push_back(name + "=" + value);
    }
    return entries;
}

ProcessCommand command(const Account& account, const SshLogin& login, const std::string& script) {
    ProcessCommand command(account.shell, {"-c", script}, ProcessCommand::Output::captureMerged);
    command.argv0 = std::filesystem::path(account.shell).filename().string();
    command.environment = environment(account, login);
    command.timeout = bound;
    return command;
}

std::optional<CompanionCore::LoginReport> look(const Account& account, const SshLogin& login,
                                               ProcessRunner& runner) {
    const auto result =
        runner.run(command(account, login, std::string(CompanionCore::LoginReport::script())));
    if (result.status != ProcessResult::Status::finished) {
        return std::nullopt;
    }
    return CompanionCore::LoginReport::parse(result.output);
}

std::vector<std::string> usualFolders(const std::filesystem::path& home) {
    std::vector<std::string> folders{"/opt/homebrew/bin", "/usr/local/bin", "/opt/local/bin", "/snap/bin"};
    if (!home.empty()) {
        folders.push_back((home / ".nix-profile" / "bin").string());
    }
    folders.insert(folders.end(),
                   {"/nix/var/nix/profiles/default/bin", "/run/current-system/sw/bin", "/usr/bin", "/bin"});
    return folders;
}

} // namespace Companion::LoginShell
