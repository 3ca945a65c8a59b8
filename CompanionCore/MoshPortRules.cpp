#include "CompanionCore/MoshPortRules.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

namespace CompanionCore::MoshPortRules {

namespace {

using nlohmann::json;

constexpr int firstPort = WellKnown::moshFirstPort;
constexpr int lastPort = WellKnown::moshLastPort;
/// What the remedies write for the range.
const std::string nftRange = std::to_string(firstPort) + "-" + std::to_string(lastPort);
const std::string ufwRange = std::to_string(firstPort) + ":" + std::to_string(lastPort) + "/udp";
/// Chains that jump into each other further than this are not followed (nft itself refuses loops).
constexpr int deepestJump = 16;

Ports portsBetween(long low, long high) {
    Ports ports;
    for (long port = std::max<long>(low, firstPort); port <= std::min<long>(high, lastPort); ++port) {
        ports.set(static_cast<std::size_t>(port - firstPort));
    }
    return ports;
}

std::optional<long> number(std::string_view text) {
    long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

/// "60001" or "60000-61000" (firewalld), "60000:61000" (ufw).
std::optional<Ports> portsOfText(std::string_view text) {
    const auto dash = text.find_first_of(":-");
    if (dash == std::string_view::npos) {
        const auto port = number(text);
        return port ? std::optional(portsBetween(*port, *port)) : std::nullopt;
    }
    const auto low = number(text.substr(0, dash));
    const auto high = number(text.substr(dash + 1));
    return low && high ? std::optional(portsBetween(*low, *high)) : std::nullopt;
}

// nftables

/// What one rule does to a new UDP flow towards the range.
struct RuleEffect {
    enum class Reach {
        /// Every condition is understood: the rule applies to `ports`.
        ports,
        /// It can never match such a flow (another protocol, loopback, established traffic only).
        never,
        /// It depends on something that cannot be judged here.
        unknown,
    };
    Reach reach = Reach::ports;
    Ports ports = Ports().set();
    /// The verdict's name ("accept", "drop", "reject", "jump", "goto", "return"), empty when none.
    std::string verdict;
    std::string target;
    std::string text;
};

std::optional<Ports> portsOfJson(const json& value) {
    if (value.is_number_integer()) {
        const auto port = value.get<long>();
        return portsBetween(port, port);
    }
    if (value.is_object() && value.contains("range")) {
        const auto& range = value.at("range");
        if (range.is_array() && range.size() == 2 && range[0].is_number_integer() &&
            range[1].is_number_integer()) {
            return portsBetween(range[0].get<long>(), range[1].get<long>());
        }
        return std::nullopt;
    }
    if (value.is_object() && value.contains("set") && value.at("set").is_array()) {
        Ports ports;
        for (const auto& element : value.at("set")) {
            const auto part = portsOfJson(element);
            if (!part) {
                return std::nullopt;
            }
            ports |= *part;
        }
        return ports;
    }
    return std::nullopt;
}

std::string textOf(const json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_number_integer()) {
        return std::to_string(value.get<long>());
    }
    if (value.is_object() && value.contains("range") && value.at("range").is_array()) {
        const auto& range = value.at("range");
        return range.size() == 2 ? textOf(range[0]) + "-" + textOf(range[1]) : range.dump();
    }
    const json* elements = nullptr;
    if (value.is_array()) {
        elements = &value;
    } else if (value.is_object() && value.contains("set") && value.at("set").is_array()) {
        elements = &value.at("set");
    }
    if (elements != nullptr) {
        std::string text = "{ ";
        for (std::size_t i = 0; i < elements->size(); ++i) {
            text += (i == 0 ? "" : ", ") + textOf((*elements)[i]);
        }
        return text + " }";
    }
    return value.dump();
}

std::vector<std::string> stringsOf(const json& value) {
    std::vector<std::string> result;
    if (value.is_string()) {
        result.push_back(value.get<std::string>());
    } else if (value.is_array()) {
        for (const auto& element : value) {
            if (element.is_string()) {
                result.push_back(element.get<std::string>());
            }
        }
    } else if (value.is_object() && value.contains("set")) {
        return stringsOf(value.at("set"));
    }
    return result;
}

bool holdsString(const json& value, std::string_view wanted) {
    const auto strings = stringsOf(value);
    return std::find(strings.begin(), strings.end(), wanted) != strings.end();
}

/// The reach of one match expression; the rule's ports are narrowed in `effect`.
RuleEffect::Reach judgeMatch(const json& match, RuleEffect& effect) {
    using Reach = RuleEffect::Reach;
    const auto op = match.value("op", std::string("=="));
    const bool equal = op == "==" || op == "in";
    const bool different = op == "!=";
    if (!match.contains("left") || !match.contains("right") || (!equal && !different)) {
        return Reach::unknown;
    }
    const auto& left = match.at("left");
    const auto& right = match.at("right");
    std::string leftText;
    Reach reach = Reach::unknown;
    if (left.contains("payload") && left.at("payload").is_object()) {
        const auto& payload = left.at("payload");
        const auto protocol = payload.value("protocol", std::string());
        const auto field = payload.value("field", std::string());
        leftText = protocol + " " + field;
        if ((protocol == "udp" || protocol == "th") && field == "dport") {
            if (const auto ports = portsOfJson(right)) {
                effect.ports &= equal ? *ports : ~*ports;
                reach = Reach::ports;
            }
        } else if (protocol == "tcp" || protocol == "sctp" || protocol == "dccp" || protocol == "icmp" ||
                   protocol == "icmpv6") {
            reach = Reach::never;
        } else if ((protocol == "ip" && field == "protocol") || (protocol == "ip6" && field == "nexthdr")) {
            reach = holdsString(right, "udp") == equal ? Reach::ports : Reach::never;
        }
    } else if (left.contains("meta") && left.at("meta").is_object()) {
        const auto key = left.at("meta").value("key", std::string());
        leftText = "meta " + key;
        if (key == "l4proto") {
            reach = holdsString(right, "udp") == equal ? Reach::ports : Reach::never;
        } else if ((key == "iifname" || key == "iif") && equal && holdsString(right, "lo")) {
            // A phone never comes in over loopback.
            reach = Reach::never;
        }
    } else if (left.contains("ct") && left.at("ct").is_object()) {
        const auto key = left.at("ct").value("key", std::string());
        leftText = "ct " + key;
        if (key == "state" && equal) {
            // mosh's first datagram opens a new flow.
            reach = holdsString(right, "new") ? Reach::ports : Reach::never;
        }
    }
    if (!leftText.empty()) {
        effect.text +=
            (effect.text.empty() ? "" : " ") + leftText + (different ? " != " : " ") + textOf(right);
    }
    return reach;
}

RuleEffect judgeRule(const json& expressions) {
    using Reach = RuleEffect::Reach;
    RuleEffect effect;
    const auto add = [&effect](const std::string& word) {
        effect.text += (effect.text.empty() ? "" : " ") + word;
    };
    for (const auto& expression : expressions) {
        if (!expression.is_object() || expression.size() != 1) {
            effect.reach = Reach::unknown;
            continue;
        }
        // The object's own iterator: its key lives in the object, unlike that of a proxy from items().
        const auto only = expression.begin();
        const std::string& key = only.key();
        const json& value = only.value();
        if (key == "match") {
            const auto reach = judgeMatch(value, effect);
            if (reach == Reach::never || effect.reach == Reach::never) {
                effect.reach = Reach::never;
            } else if (reach == Reach::unknown) {
                effect.reach = Reach::unknown;
            }
        } else if (key == "counter" || key == "log") {
            add(key);
        } else if (key == "accept" || key == "drop" || key == "reject" || key == "return") {
            effect.verdict = key;
            add(key);
        } else if ((key == "jump" || key == "goto") && value.is_object() && value.contains("target")) {
            effect.verdict = key;
            effect.target = value.value("target", std::string());
            add(key + " " + effect.target);
        } else {
            effect.reach = Reach::unknown;
            add(key);
        }
    }
    return effect;
}

struct ChainKey {
    std::string family;
    std::string table;
    std::string chain;

    auto operator<=>(const ChainKey&) const = default;
};

struct Chain {
    std::optional<std::string> hook;
    std::string policy = "accept";
    std::vector<std::pair<long, json>> rules;
};

class NftEvaluation {
public:
    explicit NftEvaluation(std::map<ChainKey, Chain> chains)
        : m_chains(std::move(chains)) {}

    std::vector<Block> blocks() {
        for (const auto& [key, chain] : m_chains) {
            if (chain.hook != "input" ||
                (key.family != "ip" && key.family != "ip6" && key.family != "inet")) {
                continue;
            }
            m_base = &key;
            const auto fallen = follow(key, Ports().set(), 0);
            if (chain.policy == "drop" && fallen.any()) {
                charge(key, "policy drop", -1, fallen);
            }
        }
        return m_blocks;
    }

private:
    /// Takes the `open` ports through `key`'s rules; answers those that fall off its end or return.
    Ports follow(const ChainKey& key, Ports open, int depth) {
        const auto found = m_chains.find(key);
        if (found == m_chains.end() || depth > deepestJump) {
            return open;
        }
        Ports fallen;
        for (const auto& [handle, expressions] : found->second.rules) {
            const auto effect = judgeRule(expressions);
            const auto hit = open & effect.ports;
            if (effect.reach != RuleEffect::Reach::ports || effect.verdict.empty() || hit.none()) {
                continue;
            }
            if (effect.verdict == "drop" || effect.verdict == "reject") {
                charge(key, effect.text, handle, hit);
            } else if (effect.verdict == "jump") {
                open = (open & ~hit) | follow({key.family, key.table, effect.target}, hit, depth + 1);
                continue;
            } else if (effect.verdict == "goto") {
                fallen |= follow({key.family, key.table, effect.target}, hit, depth + 1);
            } else if (effect.verdict == "return") {
                fallen |= hit;
            }
            open &= ~hit;
        }
        return open | fallen;
    }

    void charge(const ChainKey& key, const std::string& rule, long handle, const Ports& ports) {
        const auto where = key.family + " " + key.table + " " + key.chain;
        if (!m_charged.insert({where, handle}).second) {
            return;
        }
        m_blocks.push_back(Block{where, rule,
                                 "sudo nft insert rule " + m_base->family + " " + m_base->table + " " +
                                     m_base->chain + " udp dport " + nftRange + " accept",
                                 ports});
    }

    std::map<ChainKey, Chain> m_chains;
    const ChainKey* m_base = nullptr;
    std::set<std::pair<std::string, long>> m_charged;
    std::vector<Block> m_blocks;
};

// ufw

std::vector<std::string> words(std::string_view line) {
    std::istringstream stream{std::string(line)};
    std::vector<std::string> result;
    for (std::string word; stream >> word;) {
        result.push_back(word);
    }
    return result;
}

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t\r") - first + 1));
}

/// The ports of the range a ufw "To" column names for UDP; nothing when it names something else
/// than ports (an interface, an address, an unknown application).
std::optional<Ports> ufwTarget(const std::vector<std::string>& to) {
    if (to.size() != 1) {
        return std::nullopt;
    }
    std::string_view entry = to.front();
    if (entry == "Anywhere") {
        return Ports().set();
    }
    if (entry == "mosh") {
        // The profile mosh installs in /etc/ufw/applications.d.
        return Ports().set();
    }
    const auto slash = entry.find('/');
    if (slash != std::string_view::npos) {
        if (entry.substr(slash + 1) != "udp") {
            return Ports();
        }
        entry = entry.substr(0, slash);
    }
    Ports ports;
    std::size_t start = 0;
    while (start <= entry.size()) {
        const auto comma = std::min(entry.find(',', start), entry.size());
        const auto part = portsOfText(entry.substr(start, comma - start));
        if (!part) {
            return std::nullopt;
        }
        ports |= *part;
        start = comma + 1;
    }
    return ports;
}

} // namespace

bool Block::blocksFirstTriedPort() const {
    return ports.test(WellKnown::moshFirstTriedPort - firstPort);
}

std::optional<std::vector<Block>> fromNft(std::string_view text) {
    const auto document = json::parse(text.begin(), text.end(), nullptr, false);
    if (!document.is_object() || !document.contains("nftables") || !document.at("nftables").is_array()) {
        return std::nullopt;
    }
    std::map<ChainKey, Chain> chains;
    for (const auto& entry : document.at("nftables")) {
        if (!entry.is_object()) {
            continue;
        }
        if (entry.contains("chain") && entry.at("chain").is_object()) {
            const auto& chain = entry.at("chain");
            auto& known = chains[{chain.value("family", std::string()), chain.value("table", std::string()),
                                  chain.value("name", std::string())}];
            if (chain.contains("hook") && chain.at("hook").is_string()) {
                known.hook = chain.at("hook").get<std::string>();
            }
            known.policy = chain.value("policy", std::string("accept"));
        } else if (entry.contains("rule") && entry.at("rule").is_object()) {
            const auto& rule = entry.at("rule");
            const auto expressions = rule.value("expr", json::array());
            chains[{rule.value("family", std::string()), rule.value("table", std::string()),
                    rule.value("chain", std::string())}]
                .rules.emplace_back(rule.value("handle", -1L),
                                    expressions.is_array() ? expressions : json::array());
        }
    }
    return NftEvaluation(std::move(chains)).blocks();
}

bool ufwActive(std::string_view text) {
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("Status:")) {
            return trimmed(line) == "Status: active";
        }
    }
    return false;
}

std::optional<std::vector<Block>> fromUfw(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::optional<bool> active;
    std::optional<std::string> denyingDefault;
    std::vector<Block> blocks;
    Ports open = Ports().set();
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("Status:")) {
            active = trimmed(line) == "Status: active";
            continue;
        }
        if (line.starts_with("Default:")) {
            const auto incoming = line.find("(incoming)");
            const auto policy = std::string_view(line).substr(0, incoming);
            if (incoming != std::string::npos && (policy.ends_with("deny ") || policy.ends_with("reject "))) {
                denyingDefault = trimmed(line);
            }
            continue;
        }
        // A rule's comment follows " # ".
        const auto printed = trimmed(std::string_view(line).substr(0, line.find(" # ")));
        const auto pieces = words(printed);
        const auto action = std::find_if(pieces.begin(), pieces.end(), [](const std::string& word) {
            return word == "ALLOW" || word == "DENY" || word == "REJECT" || word == "LIMIT";
        });
        if (action == pieces.end() || printed.find("(v6)") != std::string::npos) {
            continue;
        }
        std::vector<std::string> from(action + 1, pieces.end());
        if (!from.empty() && (from.front() == "IN" || from.front() == "OUT" || from.front() == "FWD")) {
            if (from.front() != "IN") {
                continue;
            }
            from.erase(from.begin());
        }
        const auto ports = ufwTarget({pieces.begin(), action});
        if (!ports || from != std::vector<std::string>{"Anywhere"}) {
            continue;
        }
        const auto hit = open & *ports;
        if (hit.none()) {
            continue;
        }
        open &= ~hit;
        if (*action == "DENY" || *action == "REJECT") {
            // A new allow rule would come after this one: it goes first.
            blocks.push_back(Block{{}, printed, "sudo ufw insert 1 allow " + ufwRange, hit});
        }
    }
    if (!active) {
        return std::nullopt;
    }
    if (!*active) {
        return std::vector<Block>{};
    }
    if (denyingDefault && open.any()) {
        blocks.push_back(Block{{}, *denyingDefault, "sudo ufw allow " + ufwRange, open});
    }
    return blocks;
}

Ports allowedByZone(std::string_view target, const std::vector<PortEntry>& entries) {
    if (target == "ACCEPT") {
        return Ports().set();
    }
    Ports allowed;
    for (const auto& entry : entries) {
        if (entry.protocol == "udp") {
            if (const auto ports = portsOfText(entry.port)) {
                allowed |= *ports;
            }
        }
    }
    return allowed;
}

} // namespace CompanionCore::MoshPortRules
