#pragma once

#include "model/OrvaneLib.h"  // declares Orvane::Constants
