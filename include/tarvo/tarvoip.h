// Everything in one include: the base library (value types, containers,
// matrices, files, linear algebra, the parallel loop) and every image
// operator family of tarvo::ip.
#pragma once

#include "tarvo/base.h"
#include "tarvo/linalg.h"
#include "tarvo/pump.h"

#include "tarvo/ip/core.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/features.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/integral.h"
#include "tarvo/matptrlist.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/ip/photo.h"
#include "tarvo/ip/segment.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/ip/transforms.h"
