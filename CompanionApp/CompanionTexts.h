#pragma once

#include <span>

/// The user-facing texts of the companion layer below the panel (system actions, the tmux notifier)
/// and of the terminal front end, which loads the same catalogue.
/// They are translated through QCoreApplication::translate with helpers that the translation tools
/// cannot follow, so they are listed here, where the tools find them and keep their translations.
namespace CompanionApp::CompanionTexts {

struct Text {
    /// The translation context the companion layer passes.
    const char* context;
    /// The Spanish text, which is the key.
    const char* source;
};

/// Every listed text, in no particular order.
std::span<const Text> all();

} // namespace CompanionApp::CompanionTexts
