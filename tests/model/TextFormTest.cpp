// The text forms of the value types: written, read back, refused.

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "model/OrvaneLib.h"
#include "model/input/Xcvr.h"
#include "runtime/reflection/Strep.h"

namespace Orvane {
namespace {

using Zef::String8;

template <class T>
std::string refusal(char const* text) {
  try {
    Zef::strepToValue<T>(text);
  } catch (Zef::RangeException const& error) {
    EXPECT_EQ(error.ids().has(Zef::RangeException::id), error.text().starts_with("junk"));
    return error.what();
  }
  return "taken";
}

TEST(TextForm, IsWrittenFieldByField) {
  EXPECT_EQ(valueToStrep(ContainsEntry{1, 2}), "Value('Orvane::ContainsEntry', ** {'container': 1, 'containee': 2})");
  EXPECT_EQ(valueToStrep(VirtualContainer{7, "it's", "a\\b\n\x01"}),
            "Value('Orvane::VirtualContainer', ** {'index': 7, 'name': 'it\\'s', 'description': 'a\\\\b\\n\\x01'})");
  Xcvr::DomThreshold threshold;
  threshold.voltage.highAlarm = 3.5;
  EXPECT_NE(valueToStrep(threshold).view().find("'voltage': Value('Xcvr::DomLimits', ** {'highAlarm': 3.5, "),
            std::string_view::npos);
  EXPECT_EQ(Zef::valueToStrep("literal"), "'literal'");
  EXPECT_EQ(Zef::valueToStrep(true), "True");
  std::ostringstream stream;
  stream << ContainsEntry{3, 4};
  EXPECT_EQ(stream.str(), valueToStrep(ContainsEntry{3, 4}).view());
}

TEST(TextForm, IsReadWithSpacesAndInAnyOrder) {
  for (char const* text : {
           "Value('Orvane::ContainsEntry', ** {'container': 1, 'containee': 2})",
           "Value('Orvane::ContainsEntry',**{'containee':2,'container':1})",
           "  Value ( 'Orvane::ContainsEntry' , ** { 'container' : 1 ,\t'containee' : 2 } )\n ",
           "Value('Orvane::ContainsEntry', ** {'container': 9, 'container': 1, 'containee': 2})",
           "Value('Orvane::ContainsEntry', ** {'cont\\x61iner': 001, 'containee': 2})",
       }) {
    EXPECT_EQ(Zef::strepToValue<ContainsEntry>(text), (ContainsEntry{1, 2})) << text;
  }
  EXPECT_EQ(Zef::strepToValue<ContainsEntry>("Value('Orvane::ContainsEntry', ** {})"), ContainsEntry());
}

TEST(TextForm, IsRefusedWithTheReason) {
  struct {
    char const* text;
    char const* reason;
  } const cases[] = {
      {"", "\" Value\" is needed at column 0"},
      {"Value('Orvane::ContainsEntr', ** {})", "\" 'Orvane::ContainsEntry'\" is needed at column 27"},
      {"Value('Orvane::ContainsEntry', ** {", "premature end of value type ContainsEntry"},
      {"Value('Orvane::ContainsEntry', ** {'container': 1 'containee': 2})", "\", \" is needed at column 50"},
      {"Value('Orvane::ContainsEntry', ** {'container': 1,})", "no text in quotes at column 50"},
      {"Value('Orvane::ContainsEntry', ** {'container", "premature end of a text at column 45"},
      {"Value('Orvane::ContainsEntry', ** {'container' 1})", "\" : \" is needed at column 47"},
      {"Value('Orvane::ContainsEntry', ** {'content': 1})", "ContainsEntry has no such attribute: content"},
      {"Value('Orvane::ContainsEntry', ** {'container': -1})", "attribute container: no number at column 48"},
      {"Value('Orvane::ContainsEntry', ** {'container': 1x})", "attribute container: no number at column 48"},
      {"Value('Orvane::ContainsEntry', ** {'container': 4294967296})",
       "attribute container: number out of range at column 48"},
      {"Value('Orvane::ContainsEntry', ** {'container': 1}", "\") \" is needed at column 50"},
      {"Value('Orvane::ContainsEntry', ** {}) x",
       "junk at column 38 deserializing Value('Orvane::ContainsEntry', ** {}) x"},
  };
  for (auto const& [text, reason] : cases) EXPECT_EQ(refusal<ContainsEntry>(text), reason) << text;
  EXPECT_EQ(refusal<SensorSpec>("Value('Orvane::SensorSpec', ** {'unitsDisplay': 'a\\q'})"),
            "attribute unitsDisplay: no such escape at column 51");
  EXPECT_EQ(refusal<SensorSpec>("Value('Orvane::SensorSpec', ** {'unitsDisplay': '\\x4"),
            "attribute unitsDisplay: premature end of a text at column 52");
}

// Any text with any bytes, any number: what is written is read back as it was. What chance changes in it is taken or
// refused, and nothing else.
TEST(TextForm, GoesThereAndBack) {
  std::mt19937 random(1213);
  auto const number = [&] { return static_cast<U32>(random() >> (random() % 32)); };
  auto const text = [&] {
    std::string bytes(random() % 20, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 4 == 0 ? random() : ' ' + random() % 95);
    return String8(std::string_view(bytes));
  };
  int taken = 0;
  for (int round = 0; round < 20000; ++round) {
    VirtualContainer const container{number(), text(), text()};
    String8 const written = valueToStrep(container);
    ASSERT_EQ(Zef::strepToValue<VirtualContainer>(written), container) << written;
    for (char const c : written.view()) ASSERT_TRUE(c != '\n' && c != '\0');
    std::string broken(written.view());
    broken[random() % broken.size()] = static_cast<char>(random());
    if (random() % 3 == 0) broken.resize(random() % broken.size());
    try {
      Zef::strepToValue<VirtualContainer>(String8(std::string_view(broken)));
      ++taken;
    } catch (Zef::RangeException const&) {
    }
  }
  EXPECT_GT(taken, 100);
}

}  // namespace
}  // namespace Orvane
