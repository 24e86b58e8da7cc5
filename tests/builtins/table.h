// Initializes an array from its rows; formatted like a call, so that short rows share a line.
#pragma once

#define TABLE(...) \
  { __VA_ARGS__ }
