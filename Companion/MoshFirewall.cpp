#include "Companion/MoshFirewall.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/Text.h"
#include "CompanionCore/MoshPortRules.h"
#include "CompanionCore/WellKnown.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusReply>
#include <QStringList>
#include <QVariantMap>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace Companion::MoshFirewall {

namespace {

using CompanionCore::MoshPortRules::Block;
using CompanionCore::MoshPortRules::PortEntry;
using CompanionCore::MoshPortRules::Ports;

/// This file's texts, in the catalogue's "MoshFirewall" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(MoshFirewall)
};

/// The firewalld service mosh ships, which lets the whole range in.
constexpr std::string_view moshService = "mosh";
/// The command that opens the range in firewalld's default zone; another zone is named after it.
constexpr std::string_view firewalldRemedy = "sudo firewall-cmd --permanent --add-service=mosh";
constexpr std::string_view firewalldReload = " && sudo firewall-cmd --reload";
/// The nftables tables that iptables (and so ufw) drives, as a block names its chain.
constexpr std::string_view iptablesIpv4 = "ip filter ";
constexpr std::string_view iptablesIpv6 = "ip6 filter ";
/// The nftables table firewalld keeps its rules in, as a block names its chain.
constexpr std::string_view firewalldTable = " firewalld ";

QString fromStd(const std::string& text) {
    return QString::fromStdString(text);
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// Each rule on a line of its own, then each distinct remedy joined.
struct Listing {
    QString rules;
    QString remedies;
};

Listing listed(const std::vector<Block>& blocks) {
    QStringList rules;
    std::vector<std::string> remedies;
    for (const auto& block : blocks) {
        rules << (block.chain.empty() ? fromStd(block.rule) : fromStd(block.chain + ": " + block.rule));
        if (std::find(remedies.begin(), remedies.end(), block.remedy) == remedies.end()) {
            remedies.push_back(block.remedy);
        }
    }
    return {rules.join(QStringLiteral("; ")), fromStd(Text::joined(remedies, " && "))};
}

bool keepsFirstPortOut(const std::vector<Block>& blocks) {
    return std::any_of(blocks.begin(), blocks.end(),
                       [](const Block& block) { return block.blocksFirstTriedPort(); });
}

Finding blocked(std::string_view cause, const QString& firewall, const std::vector<Block>& blocks) {
    const auto [rules, remedies] = listed(blocks);
    return Finding{std::string(cause), keepsFirstPortOut(blocks),
                   LocalizedFormat::fill(Texts::tr("El cortafuegos (%@) descarta el UDP de mosh (puertos "
                                                   "60000–61000) con estas reglas: %@."),
                                         {firewall, rules}),
                   LocalizedFormat::fill(Texts::tr("Deja pasar el UDP de mosh con «%@»."), {remedies})};
}

ProcessResult ask(ProcessRunner& runner, std::string_view program, std::vector<std::string> arguments) {
    ProcessCommand command(std::string(program), std::move(arguments), ProcessCommand::Output::captureMerged);
    command.timeout = readBound;
    return runner.run(command);
}

} // namespace

std::vector<Finding> fromRules(ProcessRunner& runner,
                               const CompanionCore::Tools::ExecutableTest& isExecutable) {
    std::vector<Finding> found;
    QStringList unreadable;
    QStringList commands;
    bool ufwOn = false;
    if (isExecutable(std::string(ufwProgram))) {
        const auto result = ask(runner, ufwProgram, {"status", "verbose"});
        const auto blocks =
            result.succeeded() ? CompanionCore::MoshPortRules::fromUfw(result.output) : std::nullopt;
        if (!blocks) {
            unreadable << QStringLiteral("ufw");
            commands << QStringLiteral("sudo ufw status verbose");
        } else {
            ufwOn = CompanionCore::MoshPortRules::ufwActive(result.output);
            if (!blocks->empty()) {
                found.push_back(blocked(ufwBlocksMosh, QStringLiteral("ufw"), *blocks));
            }
        }
    }
    if (isExecutable(std::string(nftProgram))) {
        const auto result = ask(runner, nftProgram, {"-j", "list", "ruleset"});
        auto blocks =
            result.succeeded() ? CompanionCore::MoshPortRules::fromNft(result.output) : std::nullopt;
        if (!blocks) {
            unreadable << QStringLiteral("nftables");
            commands << QStringLiteral("sudo nft list ruleset");
        } else {
            // firewalld's own table is named by `fromFirewalld`, in its own words and commands.
            std::erase_if(*blocks, [](const Block& block) {
                return block.chain.find(firewalldTable) != std::string::npos;
            });
            if (ufwOn) {
                // ufw's rules live in iptables' tables, where ufw's own finding already names them.
                std::erase_if(*blocks, [](const Block& block) {
                    return block.chain.starts_with(iptablesIpv4) || block.chain.starts_with(iptablesIpv6);
                });
            }
            if (!blocks->empty()) {
                found.push_back(blocked(nftablesBlocksMosh, QStringLiteral("nftables"), *blocks));
            }
        }
    }
    if (!unreadable.isEmpty()) {
        found.push_back(Finding{
            std::string(firewallRulesUnreadable), false,
            LocalizedFormat::fill(Texts::tr("No he podido leer las reglas del cortafuegos (%@): solo el "
                                            "administrador puede. No sé si dejan pasar el UDP de mosh "
                                            "(puertos 60000–61000)."),
                                  {unreadable.join(QStringLiteral(", "))}),
            LocalizedFormat::fill(Texts::tr("Revísalas con «%@»."),
                                  {commands.join(QStringLiteral(" && "))})});
    }
    return found;
}

std::vector<Finding> fromFirewalld(const QDBusConnection& bus, std::chrono::milliseconds bound) {
    const auto latin = [](std::string_view text) { return QString::fromLatin1(text.data(), text.size()); };
    // Plain calls with the bound: an interface object would first ask for an introspection without it.
    const auto call = [&](std::string_view interface, const QString& method,
                          const QVariantList& arguments = {}) {
        auto message = QDBusMessage::createMethodCall(latin(firewalldService), latin(firewalldPath),
                                                      latin(interface), method);
        message.setArguments(arguments);
        return bus.call(message, QDBus::Block, static_cast<int>(bound.count()));
    };
    const auto askFirewalld = [&](const QString& method, const QVariantList& arguments = {}) {
        return call(firewalldInterface, method, arguments);
    };
    const auto askZones = [&](const QString& method, const QVariantList& arguments = {}) {
        return call(firewalldZoneInterface, method, arguments);
    };

    const QDBusMessage active = askZones(QStringLiteral("getActiveZones"));
    if (active.type() != QDBusMessage::ReplyMessage || active.arguments().isEmpty()) {
        return {};
    }
    // a{sa{sas}}: each active zone with its interfaces and sources.
    QStringList activeZones;
    const auto argument = active.arguments().first().value<QDBusArgument>();
    argument.beginMap();
    while (!argument.atEnd()) {
        QString zone;
        QMap<QString, QStringList> bindings;
        argument.beginMapEntry();
        argument >> zone >> bindings;
        argument.endMapEntry();
        activeZones << zone;
    }
    argument.endMap();
    const QDBusReply<QString> defaultZone = askFirewalld(QStringLiteral("getDefaultZone"));
    if (activeZones.isEmpty() && defaultZone.isValid()) {
        activeZones << defaultZone.value();
    }

    // a(ss) as QtDBus hands it over inside a variant.
    const auto entriesOf = [](const QVariant& value) {
        std::vector<PortEntry> entries;
        const auto list = value.value<QDBusArgument>();
        list.beginArray();
        while (!list.atEnd()) {
            QString port;
            QString protocol;
            list.beginStructure();
            list >> port >> protocol;
            list.endStructure();
            entries.push_back({port.toStdString(), protocol.toStdString()});
        }
        list.endArray();
        return entries;
    };

    std::vector<Finding> found;
    for (const auto& zone : activeZones) {
        const QDBusReply<QVariantMap> settings = askZones(QStringLiteral("getZoneSettings2"), {zone});
        if (!settings.isValid()) {
            continue;
        }
        const auto& values = settings.value();
        auto entries = values.contains(QStringLiteral("ports"))
                           ? entriesOf(values.value(QStringLiteral("ports")))
                           : std::vector<PortEntry>{};
        bool byMoshService = false;
        for (const auto& name : values.value(QStringLiteral("services")).toStringList()) {
            const QDBusReply<QVariantMap> serviceSettings =
                askFirewalld(QStringLiteral("getServiceSettings2"), {name});
            if (serviceSettings.isValid() && serviceSettings.value().contains(QStringLiteral("ports"))) {
                const auto more = entriesOf(serviceSettings.value().value(QStringLiteral("ports")));
                entries.insert(entries.end(), more.begin(), more.end());
            } else if (name.toStdString() == moshService) {
                byMoshService = true;
            }
        }
        const Ports allowed =
            byMoshService ? Ports().set()
                          : CompanionCore::MoshPortRules::allowedByZone(
                                values.value(QStringLiteral("target")).toString().toStdString(), entries);
        if (allowed.all()) {
            continue;
        }
        std::string remedy(firewalldRemedy);
        if (!defaultZone.isValid() || defaultZone.value() != zone) {
            remedy += " --zone=" + zone.toStdString();
        }
        remedy += firewalldReload;
        const bool firstOut = !allowed.test(CompanionCore::WellKnown::moshFirstTriedPort -
                                            CompanionCore::WellKnown::moshFirstPort);
        found.push_back(Finding{
            std::string(firewalldBlocksMosh), firstOut,
            LocalizedFormat::fill(Texts::tr("La zona «%@» de firewalld no deja pasar el UDP de mosh (puertos "
                                            "60000–61000)."),
                                  {zone}),
            LocalizedFormat::fill(Texts::tr("Deja pasar el UDP de mosh con «%@»."), {fromStd(remedy)})});
    }
    return found;
}

std::vector<Finding> fromApplicationFirewall(ProcessRunner& runner, const std::string& moshServer) {
    const auto state = ask(runner, socketfilterfw, {"--getglobalstate"});
    if (!state.succeeded() || lowerCase(state.output).find("enabled") == std::string::npos) {
        return {};
    }
    // The firewall knows a program by its real path, not by a link to it.
    std::error_code error;
    auto real = std::filesystem::weakly_canonical(moshServer, error).string();
    if (error || real.empty()) {
        real = moshServer;
    }
    const auto answer = ask(runner, socketfilterfw, {"--getappblocked", real});
    if (!answer.succeeded()) {
        return {};
    }
    const auto said = lowerCase(answer.output);
    const auto command =
        QString::fromStdString("sudo " + std::string(socketfilterfw) + " --add " + real + " && sudo " +
                               std::string(socketfilterfw) + " --unblockapp " + real);
    const auto remedy = LocalizedFormat::fill(Texts::tr("Permite mosh-server con «%@»."), {command});
    if (said.find("permitted") != std::string::npos || said.find("not blocked") != std::string::npos) {
        return {};
    }
    if (said.find("blocked") != std::string::npos || said.find("blocking") != std::string::npos) {
        return {Finding{std::string(macFirewallBlocksMosh), true,
                        LocalizedFormat::fill(Texts::tr("El cortafuegos del Mac bloquea las conexiones "
                                                        "entrantes de mosh-server (%@)."),
                                              {fromStd(real)}),
                        remedy}};
    }
    if (said.find("not part of the firewall") != std::string::npos) {
        return {
            Finding{std::string(macFirewallMayAskForMosh), false,
                    LocalizedFormat::fill(Texts::tr("El cortafuegos del Mac aún no conoce mosh-server (%@): "
                                                    "preguntará en la pantalla del Mac la primera vez, y "
                                                    "hasta que alguien responda el iPhone no podrá "
                                                    "conectarse con mosh."),
                                          {fromStd(real)}),
                    remedy}};
    }
    return {};
}

} // namespace Companion::MoshFirewall
