#include "Companion/UnifiedLogLoginRecords.h"

#include "Companion/LogAccessText.h"
#include "Companion/LoginRecordFilter.h"

#include <string_view>

namespace Companion {

UnifiedLogLoginRecords::UnifiedLogLoginRecords(std::shared_ptr<ProcessRunner> runner,
                                               CompanionCore::Clock clock)
    : m_runner(std::move(runner))
    , m_clock(clock ? std::move(clock) : CompanionCore::Clock(CompanionCore::systemNow)) {}

ProcessCommand UnifiedLogLoginRecords::command(std::chrono::system_clock::time_point since,
                                               std::chrono::system_clock::time_point now) {
    // `--last` takes whole minutes; one more so the oldest asked minute is in.
    const auto minutes =
        std::max<long long>(1, std::chrono::duration_cast<std::chrono::minutes>(now - since).count() + 1);
    ProcessCommand command(
        logTool,
        {"show", "--style", "ndjson", "--last", std::to_string(minutes) + "m", "--predicate", predicate},
        ProcessCommand::Output::capture);
    command.timeout = timeout;
    command.outputTail = outputBound;
    return command;
}

LoginRecords::Reading UnifiedLogLoginRecords::newest(const Query& query) {
    const auto result = m_runner->run(command(query.since, m_clock()));
    if (!result.succeeded()) {
        return Unreadable{LogAccessText::macosUnifiedLog()};
    }
    // The kept tail may begin inside an entry, which then reads as no entry.
    std::string_view rest(result.output);
    if (rest.size() > outputBound) {
        rest.remove_prefix(rest.size() - outputBound);
    }
    LoginRecordFilter filter(query);
    while (!rest.empty() && !filter.satisfied()) {
        const auto feed = rest.rfind('\n', rest.size() - 1);
        const auto start = feed == std::string_view::npos ? 0 : feed + 1;
        const auto line = rest.substr(start);
        rest = rest.substr(0, feed == std::string_view::npos ? 0 : feed);
        if (const auto record = CompanionCore::SshdRecord::fromUnifiedLogEntry(line)) {
            if (filter.tooOld(record->time)) {
                break;
            }
            filter.offer(*record);
        }
    }
    return filter.take();
}

} // namespace Companion
