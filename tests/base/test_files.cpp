// Byte streams over memory and disk; settings helpers.
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/object.h"
#include "tarvo/settings.h"

using namespace tarvo;

TEST(XFileMem, ReadsStopAtTheEndOfTheBlock) {
    unsigned char block[10];
    for (int i = 0; i < 10; i++) block[i] = (unsigned char)i;
    XFileMem f(block, 10);
    unsigned char out[16];
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(f.read(out, 4, 2), 2u);
    EXPECT_EQ(f.tell(), 8);
    EXPECT_EQ(out[7], 7);
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(f.read(out, 4, 1), 0u);  // only 2 bytes left: no whole item
    EXPECT_EQ(f.read(out, 1, 16), 2u);
    EXPECT_EQ(out[1], 9);
    EXPECT_EQ(out[2], 0xEE);  // nothing written past what was read
    EXPECT_TRUE(f.eof());
    EXPECT_EQ(f.getC(), EOF);
    EXPECT_FALSE(f.seek(11, SEEK_SET));
    EXPECT_FALSE(f.seek(-1, SEEK_SET));
    EXPECT_TRUE(f.seek(-3, SEEK_END));
    EXPECT_EQ(f.getC(), 7);
}

TEST(XFileMem, CallersBlockNeverGrowsOwnedBlockDoes) {
    unsigned char block[4] = {0, 0, 0, 0};
    XFileMem fixed(block, 4);
    const char text[] = "abcdef";
    EXPECT_EQ(fixed.write(text, 1, 6), 4u);  // what fits
    EXPECT_EQ(block[3], 'd');
    EXPECT_EQ(fixed.write(text, 1, 1), 0u);
    EXPECT_FALSE(fixed.putC('x'));

    XFileMem grow;
    for (int i = 0; i < 10000; i++) ASSERT_TRUE(grow.putC((unsigned char)(i & 0xFF)));
    EXPECT_EQ(grow.size(), 10000);
    ASSERT_TRUE(grow.seek(0, SEEK_SET));
    EXPECT_EQ(grow.getC(), 0);
    EXPECT_TRUE(grow.seek(9999, SEEK_SET));
    EXPECT_EQ(grow.getC(), 9999 & 0xFF);
}

TEST(XFileDisk, WritesAndReadsBack) {
    std::string dir = test::tempDir();
    ASSERT_FALSE(dir.empty());
    std::string path = dir + "/bytes.bin";
    {
        XFileDisk f;
        ASSERT_TRUE(f.open(path.c_str(), "wb"));
        EXPECT_EQ(f.write("hello", 1, 5), 5u);
        EXPECT_TRUE(f.putC('!'));
    }
    XFileDisk f;
    ASSERT_TRUE(f.open(path.c_str(), "rb"));
    EXPECT_EQ(f.size(), 6);
    char buf[8] = {0};
    EXPECT_EQ(f.read(buf, 1, 8), 6u);
    EXPECT_STREQ(buf, "hello!");
    EXPECT_FALSE(f.open((dir + "/missing/x").c_str(), "rb"));
    EXPECT_EQ(f.read(buf, 1, 1), 0u);  // a closed file reads nothing
    std::remove(path.c_str());
    std::remove(dir.c_str());
}

TEST(Settings, IniRoundTripAndTokens) {
    std::string dir = test::tempDir();
    ASSERT_FALSE(dir.empty());
    std::string ini = dir + "/a.ini";
    IniFile f;
    f.setValueI("size", "width", 640);
    f.setValue("size", "name", "vga");
    f.setValueI("other", "n", -3);
    ASSERT_TRUE(f.writeFile(ini.c_str()));
    IniFile g;
    ASSERT_TRUE(g.readFile(ini.c_str()));
    EXPECT_EQ(g.numKeys(), 2);
    EXPECT_EQ(g.keyName(0), "size");
    EXPECT_EQ(g.numValues("size"), 2);
    EXPECT_EQ(g.valueName("size", 1), "name");
    EXPECT_EQ(g.getValueI("size", "width"), 640);
    EXPECT_EQ(g.getValueI("size", "name", 7), 7);  // not a number
    EXPECT_EQ(g.getValueI("other", "n"), -3);
    g.erase();
    EXPECT_EQ(g.numKeys(), 0);

    std::string tok = dir + "/t.bin";
    {
        TokenFile t;
        ASSERT_TRUE(t.open(tok.c_str(), "w"));
        EXPECT_TRUE(t.writeString("two words"));
    }
    TokenFile t;
    ASSERT_TRUE(t.open(tok.c_str(), "r"));
    String s;
    EXPECT_TRUE(t.readString(s));
    EXPECT_EQ(s, "two words");
    EXPECT_FALSE(t.readString(s));
    t.close();
    // A length that claims more than the file holds is refused.
    FILE* fp = std::fopen(tok.c_str(), "wb");
    const unsigned char huge[6] = {0xFF, 0xFF, 0xFF, 0x7F, 'a', 'b'};
    std::fwrite(huge, 1, 6, fp);
    std::fclose(fp);
    ASSERT_TRUE(t.open(tok.c_str(), "r"));
    EXPECT_FALSE(t.readString(s));
    t.close();

    const char* argv[] = {"prog", "--sigma", "2.5", "in.png", "--flag", "--x=3", "out.png"};
    CommandLineParameters p(7, argv);
    EXPECT_EQ(p.get("sigma"), "2.5");
    EXPECT_TRUE(p.has("flag"));
    EXPECT_EQ(p.get("x"), "3");
    EXPECT_EQ(p.positionalCount(), 2);
    EXPECT_EQ(p.positional(1), "out.png");
    std::remove(ini.c_str());
    std::remove(tok.c_str());
    std::remove(dir.c_str());
}
