// One kind of request, COUNT times in a row, each on a connection of its own, against an HTTP server
// on 127.0.0.1:PORT; prints the median round trip in microseconds. A connection refused while the
// pairing server restarts its session is tried again and not counted.
//
//   round-trip-client PORT not-found|wrong-code COUNT

#include "server/support/LoopbackClient.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

int main(int argc, char* argv[]) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: round-trip-client PORT not-found|wrong-code COUNT\n");
        return 2;
    }
    const auto port = static_cast<std::uint16_t>(std::stoi(argv[1]));
    const std::string kind = argv[2];
    const int count = std::stoi(argv[3]);
    std::string request;
    if (kind == "not-found") {
        request = "GET /elsewhere HTTP/1.1\r\nHost: companion\r\nConnection: close\r\n\r\n";
    } else if (kind == "wrong-code") {
        request = Bench::post("/pair", Bench::pairingBody("000000", "ssh-ed25519 AAAA", "Bench"));
    } else {
        std::fprintf(stderr, "round-trip-client: unknown kind %s\n", kind.c_str());
        return 2;
    }

    std::vector<double> micros;
    micros.reserve(static_cast<std::size_t>(count));
    int retries = 0;
    while (static_cast<int>(micros.size()) < count) {
        const auto begun = std::chrono::steady_clock::now();
        if (Bench::roundTrip(port, request)) {
            micros.push_back(
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begun).count());
        } else {
            ++retries;
            // On one shared CPU the server needs it to finish its restart.
            std::this_thread::yield();
        }
    }
    std::nth_element(micros.begin(), micros.begin() + count / 2, micros.end());
    std::printf("%.1f %d\n", micros[static_cast<std::size_t>(count / 2)], retries);
    return 0;
}
