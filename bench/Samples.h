#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Inputs shaped like what the companion really receives.
namespace BenchSamples {

/// Size of the large buffers: well past any real pairing request.
inline constexpr std::size_t largeBufferSize = 64 * 1024;

inline std::string base64(std::string_view bytes) {
    static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const auto word = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << 16 |
                          static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8 |
                          static_cast<unsigned char>(bytes[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6) {
            out += alphabet[(word >> shift) & 0x3F];
        }
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        std::uint32_t word = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << 16;
        if (rest == 2) {
            word |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
        }
        out += alphabet[(word >> 18) & 0x3F];
        out += alphabet[(word >> 12) & 0x3F];
        out += rest == 2 ? alphabet[(word >> 6) & 0x3F] : '=';
        out += '=';
    }
    return out;
}

/// `count` bytes that look random but are the same on every run.
inline std::string noise(std::size_t count, std::uint32_t seed) {
    std::string out(count, '\0');
    for (auto& byte : out) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<char>(seed >> 24);
    }
    return out;
}

/// An SSH wire-format string: 32-bit big-endian length, then the bytes.
inline std::string sshString(std::string_view bytes) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) {
        out += static_cast<char>((size >> shift) & 0xFF);
    }
    return out.append(bytes);
}

/// A key line as a phone sends it: type, blob and the phone's own comment.
inline std::string ed25519Key() {
    return "ssh-ed25519 " + base64(sshString("ssh-ed25519") + sshString(noise(32, 1))) + " mobile@iPhone";
}

/// An RSA key with a 4096-bit modulus: a blob of 535 bytes, 716 in base64.
inline std::string rsa4096Key() {
    const std::string modulus = std::string(1, '\0') + noise(512, 2);
    return "ssh-rsa " + base64(sshString("ssh-rsa") + sshString("\x01\x00\x01") + sshString(modulus)) +
           " mobile@iPhone";
}

/// A head as the phone's HTTP client writes it, announcing `bodyLength` bytes.
inline std::string head(std::size_t bodyLength) {
    return "POST /pair HTTP/1.1\r\n"
           "Host: 192.168.1.20:52901\r\n"
           "Content-Type: application/json\r\n"
           "Accept: */*\r\n"
           "User-Agent: nuvexa/1.0 CFNetwork/1490.0.4 Darwin/23.2.0\r\n"
           "Accept-Language: es-ES,es;q=0.9\r\n"
           "Accept-Encoding: gzip, deflate\r\n"
           "Content-Length: " +
           std::to_string(bodyLength) + "\r\n\r\n";
}

/// A complete pairing request of about 400 bytes.
inline std::string pairingRequest() {
    const std::string body =
        R"({"code":"482913","publicKey":")" + ed25519Key() + R"(","device":"iPhone de Ana"})";
    return head(body.size()) + body;
}

/// A complete request of exactly `largeBufferSize` bytes, nearly all of it body.
inline std::string largeRequest() {
    const std::size_t headSize = head(largeBufferSize).size();
    return head(largeBufferSize - headSize) + std::string(largeBufferSize - headSize, 'x');
}

/// `largeBufferSize` bytes in which no head ever ends: one endless header value.
inline std::string unterminatedBuffer() {
    std::string out = "POST /pair HTTP/1.1\r\nX-Padding: ";
    out.resize(largeBufferSize, 'a');
    return out;
}

/// `largeBufferSize` bytes in which no head ever ends: short header lines, so the search for the
/// blank line stops at a carriage return every few bytes.
inline std::string unterminatedHeaderLines() {
    std::string out = "POST /pair HTTP/1.1\r\n";
    while (out.size() < largeBufferSize) {
        out += "X: y\r\n";
    }
    out.resize(largeBufferSize);
    return out;
}

} // namespace BenchSamples
