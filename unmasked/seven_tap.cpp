#include "unmasked/seven_tap.h"

#include "unmasked/plain.h"

#include <qbase/attention.h>

#include <algorithm>

qip_status unmasked_smoothSevenTap(const unmasked_plan* plan)
{
    constexpr int64_t polled = 255; // the low bits of the rows that are polled before
    qip_status status = QIP_OK;
    int64_t end = 0;
    for (int64_t row = 0; row < plan->rows; row = end) {
        if ((row & polled) == polled) {
            status = qsys_attention_check();
            if (status < 0)
                return status;
        }
        end = std::min(plan->rows, (row + 1) | polled);
        unmasked_plainSevenTap(plan, row, end - row);
    }
    return status;
}
