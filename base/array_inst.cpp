// Explicit instantiations of the exported container templates: every member
// is compiled here for each element type the library stores.
#include "tarvo/array.h"
#include "tarvo/autobuffer.h"
#include "tarvo/types.h"

namespace tarvo {

template class TARVO_BASE_EXPORTS Array<int>;
template class TARVO_BASE_EXPORTS Array<float>;
template class TARVO_BASE_EXPORTS Array<double>;
template class TARVO_BASE_EXPORTS Array<unsigned char*>;
template class TARVO_BASE_EXPORTS Array<Point2_<int>>;
template class TARVO_BASE_EXPORTS Array<Point2_<float>>;
template class TARVO_BASE_EXPORTS Array<Point3_<float>>;
template class TARVO_BASE_EXPORTS Array<Rect_<int>>;
template class TARVO_BASE_EXPORTS Array<Size_<int>>;
template class TARVO_BASE_EXPORTS Array<Array<Point2_<int>>, const Array<Point2_<int>>&>;
template class TARVO_BASE_EXPORTS Matrix<Point2_<int>>;

template class AutoBuffer<double, 520>;
template class AutoBuffer<Range, 520>;
template class AutoBuffer<Point2_<int>, 520>;
template class AutoBuffer<Point2_<float>, 520>;
template class AutoBuffer<unsigned char, 4104>;
template class AutoBuffer<int, 1032>;
template class AutoBuffer<float, 1032>;

}  // namespace tarvo
