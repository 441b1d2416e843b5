// The fast masked filters; the contract is that of gauss2/fast.h.
#pragma once

#include "gauss2/planes.h"

#include <qip/status.h>

template <class Pixel>
qip_status gauss2_fastMaskedHalf(const gauss2_maskedPlanes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fastMasked5x5(const gauss2_maskedPlanes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fastMasked5x1(const gauss2_maskedPlanes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fastMasked1x5(const gauss2_maskedPlanes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fastMaskedHalfX(const gauss2_maskedPlanes<Pixel>& planes);
template <class Pixel>
qip_status gauss2_fastMaskedHalfY(const gauss2_maskedPlanes<Pixel>& planes);
