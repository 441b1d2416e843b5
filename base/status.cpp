// The texts of the service statuses.
#include <qbase/status.h>

const char* qsys_status_text(qsys_status status)
{
    if (status >= 0)
        return "success";
    switch (status) {
    case QSYS_E_ARGUMENT:
        return "invalid argument";
    case QSYS_E_MEMORY:
        return "out of memory or another system resource";
    case QSYS_E_RANGE:
        return "size or coordinate out of range";
    case QSYS_E_CLEANUP_FULL:
        return "clean-up stack full";
    case QSYS_E_CANCELLED:
        return "cancelled";
    case QSYS_E_LEVEL_UNKNOWN:
        return "unknown processor level";
    case QSYS_E_LEVEL_UNAVAILABLE:
        return "processor level not available on this machine";
    case QSYS_E_JOB_NO_DATA:
        return "job parameters hold no data";
    case QMATH_E_SINGULAR:
        return "transform has no inverse";
    case QMATH_E_NOT_LINEAR:
        return "transform not linear, or not defined at a point";
    case QIMG_E_UNBOUND:
        return "image or window has no pixels";
    case QIMG_E_OUTSIDE:
        return "rectangle not inside the window";
    case QIMG_E_PIXEL_SIZE:
        return "wrong pixel size";
    case QIMG_E_ALIGNMENT:
        return "16-bit pixels at an odd address or row distance";
    case QIP_E_PEL_OVERLAP:
        return "windows overlap in memory";
    case QIP_E_PEL_SIZE:
        return "windows differ in size";
    default:
        return "unknown status";
    }
}
