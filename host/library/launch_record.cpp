// What the library's log lines say about one launch, and the launch's outcome.
#include "host/library/launch_record.h"

#include <android/log.h>

#include "host/library/log_messages.h"

namespace host {

const char* outcomeText(LaunchOutcome outcome) {
    switch (outcome) {
        case LaunchOutcome::kStored:
            return "stored";
        case LaunchOutcome::kUndecided:
            return "undecided";
        case LaunchOutcome::kExitedEarly:
            return "exited early";
        case LaunchOutcome::kNotFound:
            return "not found";
        case LaunchOutcome::kStoreFailed:
            return "store failed";
        case LaunchOutcome::kLearningFailed:
            return "learning failed";
        case LaunchOutcome::kLimitReached:
            return "launch limit reached";
        case LaunchOutcome::kInterrupted:
            return "interrupted";
        case LaunchOutcome::kAlreadyLearned:
            return "already learned";
        case LaunchOutcome::kSuperseded:
            return "superseded";
        case LaunchOutcome::kInUseElsewhere:
            return "in use elsewhere";
    }
    return "";
}

void LaunchRecord::take(const LogLine& line) {
    if (line.priority >= ANDROID_LOG_ERROR) {
        takeError(line);
    } else {
        takeProgress(line);
    }
}

void LaunchRecord::takeError(const LogLine& line) {
    if (line.tag == log::kStoreTag) takeStoreError(line);
    if (line.tag == log::kDatabaseTag) mDatabaseError = line.message;
    if (line.tag != log::kLearnerTag) return;
    if (startsWith(line.message, log::kNoProcess)) {
        concludeWith(LaunchEnding::kNotFound);
    } else if (line.function == log::kLoopFunction && (startsWith(line.message, log::kException) ||
                                                       line.message == log::kUnknownException)) {
        concludeWith(LaunchEnding::kFaulted);
    }
}

void LaunchRecord::takeStoreError(const LogLine& line) {
    const bool isStatus = startsWith(line.message, log::kStatusNotWritten);
    if (isStatus && line.function == log::kCountingFunction) {
        mCountFailed = true;
    } else if (isStatus || startsWith(line.message, log::kSampleNotWritten) ||
               startsWith(line.message, log::kEndpointNotWritten)) {
        mStoreFailed = true;
    }
}

void LaunchRecord::takeProgress(const LogLine& line) {
    const std::string_view message = line.message;
    if (line.tag == log::kEntryTag && startsWith(message, log::kLimitErased)) {
        mEnding = LaunchEnding::kLimitReached;
        mPhase = LaunchPhase::kEnded;
    }
    if (line.tag != log::kLearnerTag) return;
    if (startsWith(message, log::kTaken)) {
        mPhase = LaunchPhase::kHunting;
    } else if (startsWith(message, log::kSampleBudget)) {
        mPhase = LaunchPhase::kSampling;
        mSampleBudget = integerAfterLast(message, log::kSampleBudget);
    } else if (startsWith(message, log::kAborted)) {
        concludeWith(LaunchEnding::kAborted);
    } else if (startsWith(message, log::kLearned)) {
        mEndpointMs = integerAfterLast(message, log::kEndpointStart);
        concludeWith(LaunchEnding::kEndpoint);
    } else if (startsWith(message, log::kUndecided)) {
        concludeWith(LaunchEnding::kUndecided);
    } else if (startsWith(message, log::kWaiting) && mPhase != LaunchPhase::kPending) {
        mPhase = LaunchPhase::kEnded;
    }
}

void LaunchRecord::concludeWith(LaunchEnding ending) {
    mEnding = ending;
    mPhase = LaunchPhase::kConcluding;
}

LaunchOutcome outcomeOf(const LaunchRecord& record, const LaunchCircumstances& circumstances) {
    switch (record.ending()) {
        case LaunchEnding::kEndpoint:
            return record.storeFailed() ? LaunchOutcome::kStoreFailed : LaunchOutcome::kStored;
        case LaunchEnding::kUndecided:
            return LaunchOutcome::kUndecided;
        case LaunchEnding::kLimitReached:
            return LaunchOutcome::kLimitReached;
        case LaunchEnding::kNotFound:
        case LaunchEnding::kAborted:
            break;
        case LaunchEnding::kNone:
        case LaunchEnding::kFaulted:
            return circumstances.interrupted ? LaunchOutcome::kInterrupted
                                             : LaunchOutcome::kLearningFailed;
    }
    if (circumstances.interrupted) return LaunchOutcome::kInterrupted;
    const bool isLost = record.ending() == LaunchEnding::kNotFound && !circumstances.commandEnded;
    return isLost ? LaunchOutcome::kNotFound : LaunchOutcome::kExitedEarly;
}

}  // namespace host
