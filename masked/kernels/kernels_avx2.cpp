// The kernels of masked smoothing, at the 256-bit level.
#include "lanes/lanes_avx2.h"

#include "masked/kernels/kernels.h"
#include "masked/kernels/pixels_body.h"
#include "masked/kernels/prepare_body.h"
#include "masked/kernels/short_body.h"

constexpr masked_kernels masked_kernels256 = {&gauss_boxKernels256, prepareRow<uint8_t>,
                                              prepareRow<uint16_t>, pixelKernels(), shortTables()};
