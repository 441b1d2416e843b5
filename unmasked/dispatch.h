// Which of the unmasked paths serves a request.
#pragma once

#include <qip/smoothing.h>

// A path: the five arguments of qip_gauss, checked.
typedef qip_status (*unmasked_path)(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                    qsIRegion* dstRegion, qsVImage** dstOut);

// The vector engines of a build; null for one that it does not have.
struct unmasked_engines {
    unmasked_path newer; // needs feature bits 0 and 11
    unmasked_path older; // needs feature bit 0
};

// The steps of unmasked_selectEngine for given engines.
// Result:  what the engine answered, except that exactly QIP_E_FALLBACK from the newer engine becomes 0;
//          QIP_E_FALLBACK when no engine serves this processor; a failure of the processor service.
qip_status unmasked_runEngine(const unmasked_engines* engines, const qsImage* src, qsVImage* dst,
                              const qsGaussParams* params, qsIRegion* dstRegion, qsVImage** dstOut);

// The same for the engines of this build.
qip_status unmasked_selectEngine(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 qsIRegion* dstRegion, qsVImage** dstOut);
