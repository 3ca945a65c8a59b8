#include "CompanionCore/SshdRecord.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <ctime>

namespace CompanionCore {

namespace {

using std::chrono::system_clock;

constexpr std::string_view acceptedPrefix = "Accepted publickey for ";
constexpr std::string_view failedPrefix = "Failed publickey for ";
/// sshd's own word before a name that is no account here.
constexpr std::string_view invalidUser = "invalid user ";
constexpr std::string_view fingerprintPrefix = "SHA256:";
constexpr int highestPort = 65535;
/// A syslog date more than this far ahead of now was written last year.
constexpr std::chrono::hours yearTurnSlack{24};
constexpr std::string_view sshdImages[] = {"/usr/sbin/sshd", "/usr/libexec/sshd-session"};
constexpr std::string_view sshdPrograms[] = {"sshd", "sshd-session"};
constexpr std::array<std::string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isBase64(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || isDigit(c) || c == '+' || c == '/';
}

/// The last blank-separated word of `text`, which loses it and the blank before it.
std::optional<std::string_view> takeLastWord(std::string_view& text) {
    const auto blank = text.rfind(' ');
    if (blank == std::string_view::npos || blank + 1 == text.size()) {
        return std::nullopt;
    }
    const auto word = text.substr(blank + 1);
    text = text.substr(0, blank);
    return word;
}

bool takeSuffix(std::string_view& text, std::string_view suffix) {
    if (!text.ends_with(suffix)) {
        return false;
    }
    text.remove_suffix(suffix.size());
    return true;
}

/// A number of exactly `digits` digits.
std::optional<int> fixedNumber(std::string_view text, std::size_t digits) {
    if (text.size() != digits) {
        return std::nullopt;
    }
    int value = 0;
    for (const char c : text) {
        if (!isDigit(c)) {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
    }
    return value;
}

std::optional<int> portNumber(std::string_view text) {
    if (text.empty() || text.size() > 5 || text.front() == '0') {
        return std::nullopt;
    }
    const auto value = fixedNumber(text, text.size());
    if (!value || *value > highestPort) {
        return std::nullopt;
    }
    return value;
}

/// The years a record's date may name: the clock counts nanoseconds, which hold about 292 years each
/// side of 1970, and no SSH server wrote a record outside these.
constexpr int firstYear = 1970;
constexpr int lastYear = 2200;

bool validClock(int hour, int minute, int second) {
    return hour < 24 && minute < 60 && second <= 60;
}

/// "HH:MM:SS"
bool readClock(std::string_view text, int& hour, int& minute, int& second) {
    if (text.size() != 8 || text[2] != ':' || text[5] != ':') {
        return false;
    }
    const auto h = fixedNumber(text.substr(0, 2), 2);
    const auto m = fixedNumber(text.substr(3, 2), 2);
    const auto s = fixedNumber(text.substr(6, 2), 2);
    if (!h || !m || !s || !validClock(*h, *m, *s)) {
        return false;
    }
    hour = *h;
    minute = *m;
    second = *s;
    return true;
}

/// "YYYY-MM-DD?HH:MM:SS[.ffffff]ZONE" with `separator` between date and time and the zone as "Z",
/// "+HH:MM" or "+HHMM"; the point it names.
std::optional<system_clock::time_point> isoTime(std::string_view text, char separator) {
    if (text.size() < 19 || text[4] != '-' || text[7] != '-' || text[10] != separator) {
        return std::nullopt;
    }
    const auto year = fixedNumber(text.substr(0, 4), 4);
    const auto month = fixedNumber(text.substr(5, 2), 2);
    const auto day = fixedNumber(text.substr(8, 2), 2);
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (!year || !month || !day || *year < firstYear || *year > lastYear ||
        !readClock(text.substr(11, 8), hour, minute, second)) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok()) {
        return std::nullopt;
    }
    std::string_view rest = text.substr(19);
    long long micros = 0;
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        std::size_t digits = 0;
        while (digits < rest.size() && isDigit(rest[digits])) {
            if (digits < 6) {
                micros = micros * 10 + (rest[digits] - '0');
            }
            ++digits;
        }
        if (digits == 0) {
            return std::nullopt;
        }
        for (std::size_t padding = digits; padding < 6; ++padding) {
            micros *= 10;
        }
        rest.remove_prefix(digits);
    }
    long long offsetMinutes = 0;
    if (rest == "Z") {
        offsetMinutes = 0;
    } else if (rest.size() >= 5 && (rest[0] == '+' || rest[0] == '-')) {
        const auto zoneHours = fixedNumber(rest.substr(1, 2), 2);
        const auto zoneMinutes = rest.size() == 6 && rest[3] == ':' ? fixedNumber(rest.substr(4, 2), 2)
                                 : rest.size() == 5                 ? fixedNumber(rest.substr(3, 2), 2)
                                                                    : std::nullopt;
        if (!zoneHours || !zoneMinutes || *zoneHours > 23 || *zoneMinutes > 59) {
            return std::nullopt;
        }
        offsetMinutes = (*zoneHours * 60 + *zoneMinutes) * (rest[0] == '-' ? -1 : 1);
    } else {
        return std::nullopt;
    }
    const auto local = std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
                       std::chrono::seconds(second) + std::chrono::microseconds(micros);
    return std::chrono::time_point_cast<system_clock::duration>(local - std::chrono::minutes(offsetMinutes));
}

/// The local time of a traditional syslog date in `year`.
std::optional<system_clock::time_point> localTime(int year, int month, int day, int hour, int minute,
                                                  int second) {
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&parts);
    if (seconds == static_cast<std::time_t>(-1)) {
        return std::nullopt;
    }
    return system_clock::from_time_t(seconds);
}

int yearOf(system_clock::time_point point) {
    const std::time_t seconds = system_clock::to_time_t(point);
    std::tm parts{};
    if (localtime_r(&seconds, &parts) == nullptr) {
        return 1970;
    }
    return parts.tm_year + 1900;
}

/// "Nov 24 13:15:32 " (the day may be padded with a blank) at the start of `line`, which loses it.
std::optional<system_clock::time_point> traditionalTime(std::string_view& line,
                                                        system_clock::time_point now) {
    if (line.size() < 16 || line[3] != ' ' || line[6] != ' ' || line[15] != ' ') {
        return std::nullopt;
    }
    int month = 0;
    for (std::size_t index = 0; index < months.size(); ++index) {
        if (line.substr(0, 3) == months[index]) {
            month = static_cast<int>(index) + 1;
        }
    }
    const auto day = line[4] == ' ' ? fixedNumber(line.substr(5, 1), 1) : fixedNumber(line.substr(4, 2), 2);
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (month == 0 || !day || *day < 1 || *day > 31 || !readClock(line.substr(7, 8), hour, minute, second)) {
        return std::nullopt;
    }
    line.remove_prefix(16);
    const int year = yearOf(now);
    auto time = localTime(year, month, *day, hour, minute, second);
    if (time && *time > now + yearTurnSlack) {
        time = localTime(year - 1, month, *day, hour, minute, second);
    }
    return time;
}

/// The high-precision date and the blank after it at the start of `line`, which loses both.
std::optional<system_clock::time_point> preciseTime(std::string_view& line) {
    const auto blank = line.find(' ');
    if (blank == std::string_view::npos) {
        return std::nullopt;
    }
    const auto time = isoTime(line.substr(0, blank), 'T');
    if (time) {
        line.remove_prefix(blank + 1);
    }
    return time;
}

} // namespace

std::optional<SshdRecord> SshdRecord::fromMessage(std::string_view message, system_clock::time_point time) {
    while (message.ends_with('\r') || message.ends_with('\n') || message.ends_with(' ')) {
        message.remove_suffix(1);
    }
    SshdRecord record;
    record.time = time;
    if (message.starts_with(acceptedPrefix)) {
        record.accepted = true;
        message.remove_prefix(acceptedPrefix.size());
    } else if (message.starts_with(failedPrefix)) {
        message.remove_prefix(failedPrefix.size());
    } else {
        return std::nullopt;
    }
    const auto fingerprint = takeLastWord(message);
    if (!fingerprint || !fingerprint->starts_with(fingerprintPrefix) ||
        fingerprint->size() == fingerprintPrefix.size()) {
        return std::nullopt;
    }
    for (const char c : fingerprint->substr(fingerprintPrefix.size())) {
        if (!isBase64(c)) {
            return std::nullopt;
        }
    }
    const auto keyType = takeLastWord(message);
    if (!keyType || !takeSuffix(message, " ssh2:")) {
        return std::nullopt;
    }
    const auto portText = takeLastWord(message);
    if (!portText || !takeSuffix(message, " port")) {
        return std::nullopt;
    }
    const auto port = portNumber(*portText);
    const auto address = takeLastWord(message);
    if (!port || !address || !takeSuffix(message, " from")) {
        return std::nullopt;
    }
    if (message.empty() || message.starts_with(invalidUser)) {
        return std::nullopt;
    }
    record.user = std::string(message);
    record.address = std::string(*address);
    record.port = *port;
    record.fingerprint = std::string(*fingerprint);
    return record;
}

std::optional<SshdRecord::SyslogLine> SshdRecord::syslogLine(std::string_view line,
                                                             system_clock::time_point now) {
    while (line.ends_with('\r') || line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    auto time = preciseTime(line);
    if (!time) {
        time = traditionalTime(line, now);
    }
    if (!time) {
        return std::nullopt;
    }
    const auto hostEnd = line.find(' ');
    if (hostEnd == 0 || hostEnd == std::string_view::npos) {
        return std::nullopt;
    }
    line.remove_prefix(hostEnd + 1);
    const auto tagEnd = line.find("]: ");
    if (tagEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const auto tag = line.substr(0, tagEnd);
    const auto open = tag.find('[');
    if (open == std::string_view::npos || open == 0 || open + 1 == tag.size()) {
        return std::nullopt;
    }
    for (const char c : tag.substr(open + 1)) {
        if (!isDigit(c)) {
            return std::nullopt;
        }
    }
    SyslogLine parsed;
    parsed.time = *time;
    parsed.program = tag.substr(0, open);
    parsed.message = line.substr(tagEnd + 3);
    return parsed;
}

std::optional<SshdRecord> SshdRecord::fromSyslogLine(std::string_view line, system_clock::time_point now) {
    const auto parsed = syslogLine(line, now);
    if (!parsed || !isSshdProgram(parsed->program)) {
        return std::nullopt;
    }
    return fromMessage(parsed->message, parsed->time);
}

std::optional<SshdRecord> SshdRecord::fromUnifiedLogEntry(std::string_view json) {
    const auto entry = nlohmann::json::parse(json, nullptr, false);
    if (!entry.is_object()) {
        return std::nullopt;
    }
    const auto image = entry.find("processImagePath");
    const auto message = entry.find("eventMessage");
    const auto timestamp = entry.find("timestamp");
    if (image == entry.end() || message == entry.end() || timestamp == entry.end() || !image->is_string() ||
        !message->is_string() || !timestamp->is_string() ||
        !isSshdImage(image->get_ref<const std::string&>())) {
        return std::nullopt;
    }
    // "2026-11-24 13:15:32.123456+0000"
    const auto time = isoTime(timestamp->get_ref<const std::string&>(), ' ');
    if (!time) {
        return std::nullopt;
    }
    return fromMessage(message->get_ref<const std::string&>(), *time);
}

bool SshdRecord::isSshdProgram(std::string_view program) {
    for (const auto name : sshdPrograms) {
        if (program == name) {
            return true;
        }
    }
    return false;
}

bool SshdRecord::isSshdImage(std::string_view imagePath) {
    for (const auto image : sshdImages) {
        if (imagePath == image) {
            return true;
        }
    }
    return false;
}

} // namespace CompanionCore
