// Edge following of the chain extractor, on its own so that tests can run it
// on maps of their choosing.
#pragma once

#include "tarvo/ip/edges.h"

namespace tarvo {
namespace detail {

// Follows chains from every pixel (row-major) whose edge map is 0 and strong
// map is positive, through pixels whose weak map is positive, marking the edge
// map with the current label (advanced as label % 254 + 2 after each chain).
// Chains are added to list from their far end; branch points cut them. The
// frames of both maps must be 0. False when memory runs out.
TARVO_EXPORTS bool followEdgeChains(const signed char* strong, const signed char* weak,
                                    unsigned char** edgeMap, int width, int height,
                                    unsigned char& label, MCEdgeList& list);

}  // namespace detail
}  // namespace tarvo
