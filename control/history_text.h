// An object of the history in words. It comes from a file that anybody may have edited: a member that is missing or
// of another type counts as empty.
#pragma once

#include <json/value.h>

#include <string>

struct RunTotals {
    unsigned long long ran = 0;
    unsigned long long failed = 0;
    unsigned long long changes = 0;
};

RunTotals TotalsOf(const Json::Value& object);

// The member as text; '' when it is no text.
std::string TextOf(const Json::Value& object, const char* member);

// The snapshot that was restored; '' for an upgrade.
std::string RestoredOf(const Json::Value& object);

// "upgrade from 3000", "retry".
std::string WhatOf(const Json::Value& object);

// "failed: rows 3, 7"; "failed" when no row has.
std::string FailedRowsOf(const Json::Value& object);
