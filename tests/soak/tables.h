// The tables of the soak run.
#pragma once

// Rows that are only ever updated, one by one: whoever keeps a copy hears of each row, and of the whole table only when
// something may have been missed. Each writer goes through rows of its own, in turn, so that a change that was missed
// stays wrong for minutes.
constexpr char kSlots[] = "slots";
constexpr char kCreateSlots[] = "CREATE TABLE slots (_id BIGINT PRIMARY KEY, value BIGINT NOT NULL)";
constexpr int kWriters = 5;
constexpr int kSlotsOfOneWriter = 400;

// Rows that come and go, in transactions, too.
constexpr char kItems[] = "items";
constexpr char kCreateItems[] =
    "CREATE TABLE items (_id BIGINT AUTO_INCREMENT PRIMARY KEY, owner BIGINT NOT NULL, value BIGINT NOT NULL, "
    "INDEX (owner))";

// What is written here is rolled back. Nobody keeps a copy: a transaction whose connection is lost goes on without
// being one, and its writer is not told.
constexpr char kDrafts[] = "drafts";
constexpr char kCreateDrafts[] = "CREATE TABLE drafts (_id BIGINT PRIMARY KEY, value BIGINT NOT NULL)";

// A child process asks, its parent answers.
constexpr char kFamily[] = "family";
constexpr char kCreateFamily[] =
    "CREATE TABLE family (_id BIGINT AUTO_INCREMENT PRIMARY KEY, owner BIGINT NOT NULL, answer INT NOT NULL DEFAULT 0)";

constexpr unsigned long long kWholeTable = 0;
constexpr unsigned long long kUnknownRow = ~0ULL;
