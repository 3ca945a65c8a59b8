#pragma once

#include "Companion/Finding.h"
#include "Companion/KeyDoctor.h"

#include <QJsonObject>
#include <QStringList>

#include <vector>

namespace Cli {

/// `nuvexa-companion-cli doctor [--json]`: asks the SSH server, over loopback and then on each home
/// address, whether it accepts each paired phone's key (with none paired, runs the checks that need
/// no key), and names every cause it finds with its remedy; then looks at the other ways in
/// (`WayInDoctor`: mosh-server in a login, its locale, a real start). Changes nothing. Answers
/// `Exit::done` only when nothing found would keep a paired phone's key out, `Exit::refused` when
/// something would; the way-in findings do not change it, since SSH gets in without mosh.
/// `arguments` are those after "doctor".
int runDoctor(const Companion::Host& host, const QStringList& arguments);

/// The reports as text: per key, the verdict, the answer of each address and the host key; the
/// remedies in the words of `wording`'s system.
QString doctorText(const std::vector<Companion::KeyDoctor::Report>& reports, Companion::Wording wording);

/// The way-in findings as text: a heading, then each finding and its remedy; empty when there are none.
QString wayInText(const std::vector<Companion::Finding>& findings);

/// The same as one JSON object: "works" and "keys", each with "device", "fingerprint", "works",
/// "verdict", "hostKey", "addresses" (host and verdict) and "causes" (each with its name, whether it
/// keeps a phone out, its text and the system's words for it, such as the key file's error), and
/// "wayIn": the way-in findings, each with "cause", "keepsPhoneOut", "text" and "remedy".
QJsonObject doctorJson(const std::vector<Companion::KeyDoctor::Report>& reports, Companion::Wording wording,
                       const std::vector<Companion::Finding>& wayIn = {});

} // namespace Cli
