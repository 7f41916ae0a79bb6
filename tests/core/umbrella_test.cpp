// The umbrella header compiles on its own and gives the whole public surface.
#include "tarvo/tarvoip.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Umbrella, OneIncludeReachesBaseAndImageLayer) {
    tarvo::tagLibraryInfo info;
    GettarvoIPInfo(&info);
    EXPECT_STREQ(info.szName, "tarvoip 2.2");
    tarvo::Mat m(4, 4, tarvo::MAT_Tuchar);
    m = 9.0;
    tarvo::Mat sum;
    tarvo::ip::integralImage(m, sum);
    EXPECT_EQ(tarvo::ip::sumIntegralImage(sum, tarvo::Rect_<int>(0, 0, 4, 4)), 144.0);
}
