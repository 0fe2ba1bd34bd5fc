#include "runtime/Attribute.h"

namespace Zef {

void writeText(std::ostream& stream, bool value) { stream << (value ? "True" : "False"); }
void writeText(std::ostream& stream, U32 value) { stream << value; }
void writeText(std::ostream& stream, S32 value) { stream << value; }
void writeText(std::ostream& stream, double value) { stream << format("%.17g", value); }

void writeText(std::ostream& stream, String8 const& value) {
  stream << '\'';
  for (char const c : value.view()) {
    if (c == '\'' || c == '\\') stream << '\\';
    stream << c;
  }
  stream << '\'';
}

}  // namespace Zef
