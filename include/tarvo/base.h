// The whole base contract: value types, containers, matrices, files, the
// parallel loop and the small helpers.
#pragma once

#include "tarvo/array.h"
#include "tarvo/autobuffer.h"
#include "tarvo/bitops.h"
#include "tarvo/cbs.h"
#include "tarvo/containers.h"
#include "tarvo/exception.h"
#include "tarvo/export.h"
#include "tarvo/geom3d.h"
#include "tarvo/mat.h"
#include "tarvo/object.h"
#include "tarvo/parallel.h"
#include "tarvo/ptr.h"
#include "tarvo/random.h"
#include "tarvo/saturate.h"
#include "tarvo/settings.h"
#include "tarvo/sync.h"
#include "tarvo/tarvoutil.h"
#include "tarvo/tstring.h"
#include "tarvo/types.h"
