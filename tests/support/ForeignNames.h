#pragma once

#include <regex>
#include <string>
#include <vector>

namespace TestSupport {

/// The names of another system's facilities in `text`, which a Linux user must not meet: the Mac,
/// Homebrew, macOS, Bonjour, Remote Login and Terminal's Automation permission, in Spanish or
/// English. The phone's own button, «Buscar un Mac en la red», is quoted as the phone shows it, so
/// it is taken out first.
inline std::vector<std::string> foreignNames(const std::string& text) {
    std::string rest = text;
    for (const std::string button : {"«Buscar un Mac en la red»", "“Find a Mac on the network”"}) {
        for (auto at = rest.find(button); at != std::string::npos; at = rest.find(button)) {
            rest.erase(at, button.size());
        }
    }
    static const std::regex names(
        R"(\bMac\b|Homebrew|macOS|Bonjour|Remote Login|Inicio de sesión remoto|inicio de sesión remoto|Automatización|Automation)");
    std::vector<std::string> found;
    for (std::sregex_iterator match(rest.begin(), rest.end(), names), end; match != end; ++match) {
        found.push_back(match->str());
    }
    return found;
}

/// The names of Linux's facilities in `text`, which a Mac user must not meet: Linux itself, Avahi
/// and its settings, the OpenSSH package, the journal and the distributions' package managers.
inline std::vector<std::string> linuxNames(const std::string& text) {
    static const std::regex names(
        R"(Linux|[Aa]vahi|openssh-server|journalctl|auth\.log|\bapt\b|\bdnf\b|pacman|zypper)");
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), names), end; match != end; ++match) {
        found.push_back(match->str());
    }
    return found;
}

} // namespace TestSupport
