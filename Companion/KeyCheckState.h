#pragma once

#include <QString>

#include <optional>

namespace Companion {

/// What the panel shows of the key check after a pairing.
struct KeyCheckState {
    enum class Stage {
        /// The SSH server is being asked.
        checking,
        /// The server accepts the key and nothing found keeps the phone out.
        works,
        /// Something keeps the phone out; `text` says what and how to fix it.
        refused,
    };

    Stage stage = Stage::checking;
    /// The verdict, translated: "La llave funciona: comprobado con el servidor SSH" or the reasons.
    QString text;
    /// The server's host key fingerprint ("SHA256:…") when a server answered.
    std::optional<QString> hostKey;

    bool operator==(const KeyCheckState&) const = default;
};

} // namespace Companion
