// From a script's numbers, which are doubles, to the machine's.
#pragma once

/// The int that a number stands for: NaN is 0, otherwise truncated toward zero and kept within the range of int.
int ToInt(double v);
