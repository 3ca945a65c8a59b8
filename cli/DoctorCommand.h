#pragma once

#include "Companion/Finding.h"
#include "Companion/KeyDoctor.h"
#include "Companion/PhoneActivity.h"

#include <QJsonObject>
#include <QStringList>

#include <chrono>
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

/// What the SSH server's records say of the reports' phones: `phones` in the order of the reports
/// (a report without a phone has an empty entry), dated against `now`.
struct DoctorActivity {
    Companion::ActivityReading reading;
    std::chrono::system_clock::time_point now;
};

/// The reports as text: per key, the verdict, the answer of each address and the host key, and with
/// `activity` its last login, or that it has not logged in since it was paired, or that its last
/// attempt was refused; the remedies in the words of `wording`'s system.
QString doctorText(const std::vector<Companion::KeyDoctor::Report>& reports, Companion::Wording wording,
                   const std::optional<DoctorActivity>& activity = std::nullopt);

/// The way-in findings as text: a heading, then each finding and its remedy; empty when there are none.
QString wayInText(const std::vector<Companion::Finding>& findings);

/// The same as one JSON object: "works" and "keys", each with "device", "fingerprint", "works",
/// "verdict", "hostKey", "addresses" (host and verdict), "causes" (each with its name, whether it
/// keeps a phone out, its text and the system's words for it, such as the key file's error) and, for
/// a phone with `activity`, "lastLogin", "lastRefused", "neverLoggedIn" and "refusedAtLastAttempt";
/// "wayIn": the way-in findings, each with "cause", "keepsPhoneOut", "text" and "remedy"; with
/// `activity`, "loginRecordsUnreadable" says why the records could not be read, or is null.
QJsonObject doctorJson(const std::vector<Companion::KeyDoctor::Report>& reports, Companion::Wording wording,
                       const std::vector<Companion::Finding>& wayIn = {},
                       const std::optional<DoctorActivity>& activity = std::nullopt);

} // namespace Cli
