#pragma once

#include <juce_core/juce_core.h>

namespace kalim::standalone
{

/// What an error of the files' library says, "PATH: reason", in the user's language; what it quotes
/// from the system's libraries stays.
juce::String translateError(const juce::String& message);

} // namespace kalim::standalone
