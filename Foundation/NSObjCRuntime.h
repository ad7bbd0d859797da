#pragma once

// The integer types Foundation's interfaces are declared with: 64-bit on every platform the
// library supports.

using NSInteger = long;
using NSUInteger = unsigned long;
