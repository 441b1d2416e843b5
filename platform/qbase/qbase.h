/* qbase/qbase.h - all base services. */
#ifndef QBASE_QBASE_H
#define QBASE_QBASE_H

#include <qbase/arithmetic.h>
#include <qbase/attention.h>
#include <qbase/cleanup.h>
#include <qbase/cpuinfo.h>
#include <qbase/image.h>
#include <qbase/inhibit.h>
#include <qbase/jobs.h>
#include <qbase/legacy_image.h>
#include <qbase/memory.h>
#include <qbase/pixels.h>
#include <qbase/rect.h>
#include <qbase/status.h>
#include <qbase/vector.h>
#include <qbase/window.h>
#include <qbase/xform.h>

#endif
