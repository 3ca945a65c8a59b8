// Reads login records as the user that runs it and prints what it found: the advice when nothing
// can be read, else the number of attempts. The tests run it as an unprivileged user.
#include "Companion/AuthLogLoginRecords.h"
#include "Companion/JournalLoginRecords.h"

#include <iostream>
#include <string>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: login-records-probe auth-log|journal|system-journal PATH\n";
        return 2;
    }
    const std::string kind = argv[1];
    const std::filesystem::path path = argv[2];
    Companion::LoginRecords::Query query;
    query.fingerprints = {"SHA256:a"};
    const auto reading = kind == "journal" ? Companion::JournalLoginRecords(path).newest(query)
                         : kind == "system-journal"
                             ? Companion::JournalLoginRecords(Companion::SystemJournal{{path}}).newest(query)
                             : Companion::AuthLogLoginRecords({path}).newest(query);
    if (!reading) {
        std::cout << "unreadable: " << reading.failure().howToAllow.toStdString() << "\n";
        return 0;
    }
    std::cout << "attempts: " << reading->size() << "\n";
    return 0;
}
