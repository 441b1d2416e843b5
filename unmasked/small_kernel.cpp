#include "unmasked/small_kernel.h"

#include "unmasked/plain.h"

#include <qbase/attention.h>

#include <algorithm>

qip_status unmasked_smoothSmallKernel(const unmasked_plan* plan)
{
    constexpr int64_t polled = 1023; // the low bits of the image rows that are polled before
    const int64_t top = plan->dstTop;
    qip_status status = QIP_OK;
    int64_t end = top;
    for (int64_t y = top; y < top + plan->rows; y = end) {
        if ((y & polled) == polled) {
            status = qsys_attention_check();
            if (status < 0)
                return status;
        }
        end = std::min(top + plan->rows, (y + 1) | polled);
        unmasked_plainSmallKernel(plan, y - top, end - y);
    }
    return status;
}
