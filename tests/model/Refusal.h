#pragma once

#include <string>

#include "runtime/kit/Exception.h"

// The text of the RangeException that the call throws.
template <class Call>
std::string refusal(Call call) {
  try {
    call();
  } catch (Zef::RangeException const& error) {
    return error.text();
  }
  return "no refusal";
}
