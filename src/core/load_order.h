// The order in which the library's parts come to life when it is loaded, whatever the order in which the files are
// linked. At exit the order is reversed, and the event manager, which `initializer` creates, comes last.
#pragma once

constexpr int kLoadInitializer = 101;  // the first number that is free for use
constexpr int kLoadConnections = 102;
constexpr int kLoadRawPool = 103;
constexpr int kLoadStmtPool = 104;
constexpr int kLoadPendingTables = 105;
constexpr int kLoadExitBegin = 106;

#define ORV_LOADED(order) __attribute__((init_priority(order)))
#define ORV_RUN_AT_LOAD(order) __attribute__((constructor(order)))
