#pragma once

#include "Companion/CompanionModel.h"

#include <memory>

namespace TestSupport {

/// What a test hands a model: its host and its settings.
struct ModelParts {
    Companion::Host host;
    Companion::CompanionModel::Settings settings;
};

inline std::unique_ptr<Companion::CompanionModel> makeModel(ModelParts parts) {
    return std::make_unique<Companion::CompanionModel>(std::move(parts.host), std::move(parts.settings));
}

} // namespace TestSupport
