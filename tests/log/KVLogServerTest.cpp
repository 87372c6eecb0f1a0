// The log's live bookkeeping: margins, blocks, and the start stamp.
#include <gtest/gtest.h>

#include "log/KVLogBloc.h"
#include "log/KVLogServer.h"

class LogMarginTest : public ::testing::Test {
protected:
    void SetUp() override { KVLogServer::setMarginOffset(0); }
    void TearDown() override { KVLogServer::setMarginOffset(0); }
};

TEST_F(LogMarginTest, MarginStringFollowsTheLevelAndNeverGoesNegative) {
    KVLogServer::incrMarginOffset(3);
    EXPECT_EQ(KVLogServer::getMarginOffset(), 3);
    EXPECT_STREQ(KVLogServer::getMarginOffsetString().c_str(), "      ");
    KVLogServer::decrMarginOffset(5);
    EXPECT_EQ(KVLogServer::getMarginOffset(), 0);
    EXPECT_TRUE(KVLogServer::getMarginOffsetString().isNull());
    KVLogServer::setMarginOffset(-4);
    EXPECT_EQ(KVLogServer::getMarginOffset(), 0);
    KVLogServer::setMarginOffset(2);
    EXPECT_EQ(KVLogServer::getMarginOffsetString().length(), 4);
}

TEST_F(LogMarginTest, BlockEndsOnceAndOnlyWhatItStarted) {
    KVLogBloc bloc;
    bloc.start(2);
    bloc.start(5);  // already active: ignored
    EXPECT_EQ(KVLogServer::getMarginOffset(), 2);
    bloc.end();
    bloc.end();
    EXPECT_EQ(KVLogServer::getMarginOffset(), 0);
    EXPECT_FALSE(bloc.isActive());
}

TEST_F(LogMarginTest, TitledBlockRaisesByTwoAndLowersByItsIncrement) {
    KVLogServer::setMarginOffset(5);
    {
        KVLogBloc bloc;
        bloc.start("Title", "kept text", 4);
        EXPECT_EQ(KVLogServer::getMarginOffset(), 7);
        EXPECT_STREQ(bloc.getText().c_str(), "kept text");
    }  // the destructor ends the block
    EXPECT_EQ(KVLogServer::getMarginOffset(), 3);
    KVLogBloc low;
    low.start("t", "x", 9);
    low.end();
    EXPECT_EQ(KVLogServer::getMarginOffset(), 0);
    EXPECT_TRUE(low.getText().isNull());
}

TEST(LogServer, InitStampsTheStartAndSilentCallsAreHarmless) {
    KVLogServer::setLogFile("/tmp/TR_DebugLog_Dll.txt");
    KVLogServer::init(true);
    EXPECT_TRUE(KVLogServer::isInitialized());
    EXPECT_GT(KVLogServer::getStartTime().tv_sec, 0);
    KVLogServer::printLine("%s called : %s", "PrintInLog", "text");
    KVLogServer::showLogWindow(true);
    KVLogServer::enableLogWindow(false);
    KVLogServer::clear();
}
