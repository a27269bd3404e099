// The library's log tags and messages that the host reads, each as far as it
// is the same in every line.
#pragma once

#include <string_view>

namespace host::log {

constexpr std::string_view kEntryTag = "TAVO-ORVO";
constexpr std::string_view kLearnerTag = "TAVO-ORVO-LEARNER";
constexpr std::string_view kStoreTag = "TAVO-ORVO-DB";
constexpr std::string_view kDatabaseTag = "TAVO-DB";

// Of the entry functions.
constexpr std::string_view kWakingThread = "waking up learning thread";
constexpr std::string_view kStopping = "Stopping learning";
constexpr std::string_view kErased = "Erased Learning for ";  ///< as the host asked
constexpr std::string_view kCountsTaken = "setData appName:";
constexpr std::string_view kSampleAsked = "sample for ";
constexpr std::string_view kLimitErased = "Erased learning for ";  ///< at the five hundredth event

// Of the learner, in the order of a launch.
constexpr std::string_view kWaiting = "Waiting for Launch Event";
constexpr std::string_view kTaken = "Start Learning appName:";
constexpr std::string_view kCleared = "cleared";  ///< the series of the launch before
constexpr std::string_view kNoProcess = "Could not find pid";
constexpr std::string_view kHuntingOn = "getPid in loop for ";
constexpr std::string_view kFoundProcess = "actual pid = ";
constexpr std::string_view kHuntTime = " TimeTakenToFind ";
constexpr std::string_view kSampleBudget = "Decided Samples = ";
constexpr std::string_view kMemory = "Process total rss = ";
constexpr std::string_view kOomScore = " OmmScore (";
constexpr std::string_view kScoreRead = "nread=";
constexpr std::string_view kFdCount = "FD info ";  ///< the entry functions' too
constexpr std::string_view kFdCountStart = "[";
constexpr std::string_view kEvaluation = "vmRssBias=";
constexpr std::string_view kMetricEndpoint = " EndPoint IDX ";
constexpr std::string_view kFinalEndpoint = "Final EndPoint * * * IDX ";
constexpr std::string_view kAborted = "Abort Detected for ";
constexpr std::string_view kLearned = "Learned Launch Endpoint for ";
constexpr std::string_view kEndpointStart = " = ";
constexpr std::string_view kUndecided = "Launch Endpoint could not determined for ";
constexpr std::string_view kStoredSample = "Found sample for ";
constexpr std::string_view kException = "exception ";
constexpr std::string_view kUnknownException = "unknown exception";

// The learner's functions whose lines are recognised by their function.
constexpr std::string_view kLoopFunction = "statsCollector";
constexpr std::string_view kClearFunction = "clearAll";
constexpr std::string_view kScoreFunction = "getProcessOMMScore";
constexpr std::string_view kAgeFunction = "accessDataPtAge";
constexpr std::string_view kRankFunction = "topFrequentElem";
constexpr std::string_view kYoungestFunction = "getYoungest";
constexpr std::string_view kEndpointFunction = "calculateEndp";
constexpr std::string_view kDumpFunction = "exportToFile";

// Of the store.
constexpr std::string_view kTableNotOpened = "Could not open DB:";
constexpr std::string_view kSampleNotWritten = "Failed to write sample for ";
constexpr std::string_view kEndpointNotWritten = "Failed to write endpoint for ";
constexpr std::string_view kStatusNotWritten = "Failed to update status for ";
constexpr std::string_view kCountingFunction = "checkStatus";  ///< which writes the last one too

}  // namespace host::log
