#include "model/input/IntfId.h"

#include <algorithm>
#include <cctype>

#include "runtime/kit/Exception.h"

namespace Morvet {

void IntfId::handleInitialized(Zef::String8 const& name) {
  std::string_view const text = name.view();
  bool const fits = !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0 &&
                    std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isgraph(c) != 0; });
  if (!fits) Zef::throwRangeException(Zef::format("\"%s\" is no name of an interface", name.charPtr()));
  name_ = name;
}

std::ostream& operator<<(std::ostream& stream, IntfId const& id) { return stream << id.stringValue(); }

}  // namespace Morvet
