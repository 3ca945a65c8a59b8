#include "CompanionCore/PairingTxt.h"

namespace CompanionCore::PairingTxt {

std::map<std::string, std::string> record(const std::string& name, const std::string& user, int port,
                                          const std::vector<std::string>& hosts, bool mosh, bool tmux) {
    std::string joined;
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        if (i > 0) {
            joined += ',';
        }
        joined += hosts[i];
    }
    return {
        {"v", "1"},
        {"name", name},
        {"user", user},
        {"port", std::to_string(port)},
        {"hosts", joined},
        {"mosh", mosh ? "1" : "0"},
        {"tmux", tmux ? "1" : "0"},
    };
}

} // namespace CompanionCore::PairingTxt
