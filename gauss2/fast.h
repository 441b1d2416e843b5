// The fast filters of this family. Each gives the plain filter's pixels and polls the attention check at the
// plain filter's rows. Each returns QIP_E_FALLBACK when it declines (nothing is written then), a failure of
// the processor service, of an allocation or of the attention check as it stands, else 0.
//
// The instruction level is chosen by the processor record on every call. Defined for uint8_t and uint16_t.
#pragma once

#include "gauss2/planes.h"

#include <qip/status.h>

// Half resolution in both directions.
template <class Pixel>
qip_status gauss2_fastHalf(const gauss2_planes<Pixel>& planes);

// Full resolution.
template <class Pixel>
qip_status gauss2_fast5x5(const gauss2_planes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fast5x1(const gauss2_planes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fast1x5(const gauss2_planes<Pixel>& planes);

// Half resolution in one direction, without the full-resolution image in between. Every attention check
// comes before the first pixel of the destination is written; those of the last rows, 2^24 source pixels at
// most, are made together before the first of these rows.
template <class Pixel>
qip_status gauss2_fastHalfX(const gauss2_planes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fastHalfY(const gauss2_planes<Pixel>& planes);
