#pragma once

#include <string>
#include <vector>

#include "inspection/check.h"
#include "inspection/difference.h"
#include "inspection/drawing.h"
#include "inspection/info.h"
#include "inspection/map.h"
#include "inspection/statistics.h"
#include "inspection/verdict.h"

// The names of what records hold, written once: `describe(out, record)` calls `out(name, value)` for
// each, in order. The program's JSON and the page's objects are made by two such `out`s, so that
// both have the same names and numbers.
