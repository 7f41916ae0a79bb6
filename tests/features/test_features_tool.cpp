// tarvo features: the tree of a feature file, and one line for a refused one.
#include <gtest/gtest.h>

#include "core/tool_fixture.h"
#include "tarvo/ip/features.h"

#ifdef TARVO_TOOL_PATH

using namespace tooltest;

TEST_F(Tool, FeaturesPrintsTheTreeOrTheReason) {
    tarvo::FeatureSet set;
    tarvo::FeatureVec* v = new tarvo::FeatureVec();
    v->Vec::create(6, tarvo::MAT_Tfloat);
    v->Vec::zero();
    v->width = 2;
    v->height = 3;
    set.add(v);
    tarvo::FeatureSet* inner = new tarvo::FeatureSet();
    inner->add(new tarvo::FeatureDescriptor(4));
    set.add(inner);
    ASSERT_TRUE(set.write((dir + "/set.feat").c_str()));
    const ToolRun r = tarvo("features set.feat");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "FSet: 2 elements, dimension 6\n"
              "  gray: 2 x 3, dimension 6\n"
              "  FSet: 1 element, dimension 0\n"
              "    (an element that cannot be read back)\n");

    shell(
        "printf 'short' > short.feat && printf 'lbp_____________________________________' > "
        "alien.feat && head -c 40 set.feat > cut.feat && mkdir d");
    expectError(tarvo("features short.feat"), "too short");
    expectError(tarvo("features alien.feat"), "known feature identifier ('lbp_");
    expectError(tarvo("features cut.feat"), "truncated, malformed or nested too deeply");
    expectError(tarvo("features missing.feat"), "cannot open 'missing.feat'");
    expectError(tarvo("features d"), "it is a directory");
    expectError(tarvo("features"), "needs one file");
}

#endif
