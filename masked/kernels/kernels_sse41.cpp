// The kernels of masked smoothing, at the 128-bit level of x86 processors.
#include "lanes/lanes_sse41.h"

#include "masked/kernels/kernels.h"
#include "masked/kernels/pixels_body.h"
#include "masked/kernels/prepare_body.h"
#include "masked/kernels/short_body.h"

constexpr masked_kernels masked_kernels128 = {&gauss_boxKernels128, prepareRow<uint8_t>,
                                              prepareRow<uint16_t>, pixelKernels(), shortTables()};
