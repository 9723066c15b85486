// The library's statuses in words.
#pragma once

#include <string>

// Of a registration or an announcement.
std::string notificationProblem(int status);

// Of a statement: the error text, or what the status means where there is none.
std::string statementProblem(unsigned int status);
