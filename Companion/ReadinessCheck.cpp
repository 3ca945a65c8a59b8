#include "Companion/ReadinessCheck.h"

namespace Companion {

std::string_view ReadinessCheck::key(Item item) {
    switch (item) {
    case Item::sshServer:
        return "sshServer";
    case Item::moshServer:
        return "moshServer";
    case Item::tmux:
        return "tmux";
    case Item::drozak:
        return "drozak";
    }
    return {};
}

} // namespace Companion
