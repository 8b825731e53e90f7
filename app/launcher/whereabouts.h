#pragma once

#include <QString>

#include <sys/types.h>

// Where the program is that holds the instance lock, for who starts it a second time: whose it is when it is
// another user's, else how its window comes back.
//
// process: 0 where it is not known (it may have just ended); otherUser: empty where it is one's own.
QString whereabouts(pid_t process, const QString& otherUser);
