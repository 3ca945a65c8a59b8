#include "CompanionCore/Tools.h"

#include <sys/stat.h>
#include <unistd.h>

namespace CompanionCore::Tools {

const std::vector<std::string>& searchPaths() {
    static const std::vector<std::string> paths = {"/opt/homebrew/bin", "/usr/local/bin", "/usr/bin", "/bin"};
    return paths;
}

bool isExecutableFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::optional<std::string> locate(std::string_view name, const ExecutableTest& isExecutable,
                                  const std::vector<std::string>& paths) {
    for (const auto& directory : paths) {
        std::string candidate = directory;
        while (candidate.size() > 1 && candidate.back() == '/') {
            candidate.pop_back();
        }
        if (candidate != "/") {
            candidate += '/';
        }
        candidate += name;
        if (isExecutable(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

bool Lookup::executable(const std::string& path) const {
    return isExecutable ? isExecutable(path) : isExecutableFile(path);
}

std::optional<std::string> Lookup::locate(std::string_view name) const {
    return Tools::locate(
        name, [this](const std::string& path) { return executable(path); },
        searchPaths ? *searchPaths : Tools::searchPaths());
}

} // namespace CompanionCore::Tools
