#pragma once

#include <functional>
#include <string>

namespace Host {

enum class Severity { error, warning, info };

// Takes one line, without its newline.
using Log = std::function<void(Severity severity, std::string const& line)>;

}  // namespace Host
