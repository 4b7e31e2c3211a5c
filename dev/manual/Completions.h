#pragma once

#include "dev/manual/CommandTable.h"

#include <map>
#include <string>

namespace kalim::manual
{

/// What goes into share/bash-completion/completions.
std::string makeBashCompletion(const Program& program);

/// What goes into share/zsh/site-functions, its name beginning with an underline.
std::string makeZshCompletion(const Program& program);

/// What goes into share/fish/vendor_completions.d.
std::string makeFishCompletion(const Program& program);

/// The text in single quotes, for all three shells.
std::string quoted(const std::string& text);

/// The pattern with a text for each word that stands between two signs @.
std::string filled(std::string pattern, const std::map<std::string, std::string>& texts);

/// The command that lists the names of presets, a line each.
std::string listPresetsWith(const std::string& program);

} // namespace kalim::manual
