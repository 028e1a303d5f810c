// State kept for the installed platform (the selection's open key) asks to hear of
// its replacement here, so that the platform needs to know nothing of it.
#pragma once

#include <functional>

namespace paramcor {

// `release` runs at each installPlatform, before the replacement goes in, while the
// store the state belongs to is still the installed one.
void whenPlatformReplaced(std::function<void()> release);

}  // namespace paramcor
