// The policy hook: a variable of the application.
#include <qbase/inhibit.h>

int (*qprt_isOptimizationInhibitedFP)(const char* name) = nullptr;
