// Reading the newest of sshd's records from a large auth.log: with the asked key's logins near the
// end (reading stops early), and with a key that never logged in (the whole byte bound is read).
#include "Companion/AuthLogLoginRecords.h"
#include "CompanionCore/SshdRecord.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

/// Larger than the reader's bound, so the bound is what a search without a match reads.
constexpr std::size_t fileBytes = std::size_t{48} << 20;
/// One line in this many is a login of the asked key.
constexpr int loginEvery = 500;
const std::string askedKey = "SHA256:n2wXcIYc3GtVN7P0QNy0zRYtlk5sImRpNQq6c1IUEvs";

std::string syslogLine(int index) {
    const std::string date = "2026-11-24T13:15:32.123456+00:00 box ";
    if (index % loginEvery == 0) {
        return date + "sshd[" + std::to_string(1000 + index % 5000) +
               "]: Accepted publickey for ana from 192.168.1." + std::to_string(index % 250) + " port " +
               std::to_string(1024 + index % 60000) + " ssh2: ED25519 " + askedKey + "\n";
    }
    if (index % 3 == 0) {
        return date + "sshd[" + std::to_string(1000 + index % 5000) +
               "]: Accepted publickey for ana from 10.0.0." + std::to_string(index % 250) +
               " port 4000 ssh2: ED25519 SHA256:someOtherKeyOfTheUserThatLogsInOften\n";
    }
    return date + "CRON[" + std::to_string(index % 30000) +
           "]: pam_unix(cron:session): session opened for user root\n";
}

/// A large auth.log, written once for the whole run.
const std::filesystem::path& largeAuthLog() {
    static const std::filesystem::path path = [] {
        const auto file =
            std::filesystem::temp_directory_path() / ("nuvexa-bench-auth-" + std::to_string(::getpid()));
        std::ofstream out(file, std::ios::binary);
        std::size_t written = 0;
        for (int index = 1; written < fileBytes; ++index) {
            const auto line = syslogLine(index);
            out << line;
            written += line.size();
        }
        std::atexit([] { std::filesystem::remove(largeAuthLog()); });
        return file;
    }();
    return path;
}

Companion::LoginRecords::Query query(const std::string& key) {
    Companion::LoginRecords::Query asked;
    asked.fingerprints = {key};
    asked.user = "ana";
    asked.since = std::chrono::system_clock::time_point{};
    return asked;
}

void LoginRecords_AuthLogNewestSixteen(benchmark::State& state) {
    Companion::AuthLogLoginRecords records({largeAuthLog()});
    for (auto _ : state) {
        auto reading = records.newest(query(askedKey));
        benchmark::DoNotOptimize(reading);
        if (!reading || reading->size() != 16) {
            state.SkipWithError("the newest sixteen logins were not found");
        }
    }
}
BENCHMARK(LoginRecords_AuthLogNewestSixteen)->Unit(benchmark::kMillisecond);

void LoginRecords_AuthLogKeyNeverSeen(benchmark::State& state) {
    Companion::AuthLogLoginRecords records({largeAuthLog()});
    for (auto _ : state) {
        auto reading = records.newest(query("SHA256:neverLoggedIn"));
        benchmark::DoNotOptimize(reading);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(Companion::AuthLogLoginRecords::defaultByteBound));
}
BENCHMARK(LoginRecords_AuthLogKeyNeverSeen)->Unit(benchmark::kMillisecond);

void LoginRecords_SyslogLine(benchmark::State& state) {
    const auto line = syslogLine(loginEvery);
    for (auto _ : state) {
        auto record = CompanionCore::SshdRecord::fromSyslogLine(line, {});
        benchmark::DoNotOptimize(record);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * line.size()));
}
BENCHMARK(LoginRecords_SyslogLine);

} // namespace
