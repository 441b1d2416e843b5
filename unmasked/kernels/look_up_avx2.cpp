// Pixels through a table at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "unmasked/kernels/look_up_body.h"

constexpr unmasked_lookUp unmasked_lookUp256 = lookUpRow;
