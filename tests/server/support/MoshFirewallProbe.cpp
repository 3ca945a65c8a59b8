// Reads the firewall rules as the process it runs in may: the tests run it inside a network
// namespace of their own (with `ip netns exec`), around an isolated ufw, or under an unprivileged
// user. Prints one finding a line: cause, whether it keeps the phone out, text and remedy, separated
// by tabs.
#include "Companion/MoshFirewall.h"
#include "Companion/QtProcessRunner.h"

#include <QCoreApplication>

#include <iostream>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    Companion::QtProcessRunner runner;
    for (const auto& finding : Companion::MoshFirewall::fromRules(runner)) {
        std::cout << finding.cause << '\t' << (finding.keepsPhoneOut ? "keepsPhoneOut" : "note") << '\t'
                  << finding.text.toStdString() << '\t' << finding.remedy.toStdString() << '\n';
    }
    return 0;
}
