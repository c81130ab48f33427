#include "kx/foundation/kxstreambuf.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {
std::string received;
int intCalls = 0;
void VoidReceiver(const char *text) { received += std::string("[") + text + "]"; }
int IntReceiver(const char *text)
{
    ++intCalls;
    received += std::string("{") + text + "}";
    return 0;
}
} // namespace

TEST(KXStreambufTest, CapturesUntilFlushAndRestores)
{
    std::ostringstream stream;
    std::ostream &out = stream;
    std::streambuf *own = out.rdbuf();
    received.clear();
    {
        kxStreambuf capture(&stream);
        EXPECT_FALSE(capture.IsOpen());
        capture.Open(VoidReceiver);
        EXPECT_EQ(out.rdbuf(), static_cast<std::streambuf *>(&capture));
        stream << "x = " << 42;
        EXPECT_EQ(received, "");
        stream << std::endl;
        EXPECT_EQ(received, "[x = 42\n]");
        stream.put('a');
        stream.write("bc", 2);
        stream.flush();
        EXPECT_EQ(received, "[x = 42\n][abc]");

        capture.Open(IntReceiver);                 // re-opening detaches first
        stream << "n" << std::flush << std::flush; // an empty flush delivers ""
        EXPECT_EQ(intCalls, 2);
        EXPECT_EQ(received, "[x = 42\n][abc]{n}{}");
        stream << "unflushed";
        capture.Close(); // unflushed text is dropped, not delivered
        EXPECT_EQ(received, "[x = 42\n][abc]{n}{}");
        EXPECT_EQ(out.rdbuf(), own);
        stream << "direct";

        capture.Open(VoidReceiver); // re-opening drops what the last receiver did not get
        stream << "left over";
        capture.Open(IntReceiver);
        stream << std::flush;
        EXPECT_EQ(received, "[x = 42\n][abc]{n}{}{}");
        capture.Open(); // no receiver: text is dropped
        stream << "dropped" << std::flush;
        EXPECT_EQ(received, "[x = 42\n][abc]{n}{}{}");
        stream << std::string(10000, 'z');
    } // the destructor closes
    EXPECT_EQ(out.rdbuf(), own);
    EXPECT_EQ(stream.str(), "direct");
}
