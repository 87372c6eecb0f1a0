// YUtilWrapper312B46: runs host scripts through the host's utility entry (host 3.12 B46 and later).
#pragma once

#include "KVString.h"
#include "YHostRecord.h"

// The host utility entry: command, two integers, a text, an integer and a float; 0 for success.
typedef int (*YUtilityEntry)(int command, int a, int b, char* text, int c, float version);

class YUtilWrapper312B46 {
public:
    static YUtilWrapper312B46& instance();

    // Command 7 with the script's text and the version 3.12; true when the host answers 0.
    // A null entry gives false.
    bool runYScript(YUtility* entry, const KVString& script) const;
};
