/* qip/qip_gauss.h - the whole library. */
#ifndef QIP_QIP_GAUSS_H
#define QIP_QIP_GAUSS_H

#include <qip/dest_rect.h>
#include <qip/half_resolution.h>
#include <qip/legacy.h>
#include <qip/masked.h>
#include <qip/params.h>
#include <qip/smoothing.h>
#include <qip/status.h>

#endif
