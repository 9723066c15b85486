// The table that readers keep a copy of while writers change it.
#pragma once

#include <orvdb_client.h>

constexpr char kScores[] = "scores";
constexpr char kCreateScores[] =
    "CREATE TABLE scores (_id BIGINT AUTO_INCREMENT PRIMARY KEY, team INT NOT NULL, score BIGINT NOT NULL, INDEX "
    "(team))";
// Of some ten players each.
constexpr int kTeams = 30;
constexpr int kPlayers = 10 * kTeams;

constexpr unsigned long long kWholeTable = 0;
constexpr unsigned long long kUnknownRow = ~0ULL;
