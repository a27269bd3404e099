// What most tests of the library start from: a learner of their own.
#pragma once

#include <gmock/gmock.h>

#include "host/dump/learner_peer.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_framework.h"
#include "tests/support/virtual_time.h"

class LearnerTest : public testing::Test {
protected:
    LearnerTest() {
        framework().reset();
        virtual_time::reset();
    }

    OrvoLearner mLearner;
    OrvoLearnerPeer mPeer{mLearner};
};
