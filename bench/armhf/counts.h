// What the program that counts and the program that is counted agree on.
#pragma once

// Each with the library, then by the reference.
constexpr const char *kContainerWorks[] = {"container of 10 columns: create, put, free",
                                           "container of 10 columns: clear, put again",
                                           "container of 10 columns: put over what is there"};
constexpr int kTimes = 50;
