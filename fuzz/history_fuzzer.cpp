// The reader of the history of upgrades, and what is told of its objects. Input: the file.
#include "control/upgrades.h"
#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/base/json.h"
#include "platform/base/paths.h"
#include "upgrader/history.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::Make();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text = AsText(data, size);
    FuzzTree::Write(FuzzTree::Path(kHistory), text);
    std::vector<Json::Value> objects;
    Expect(ReadHistory(objects) == 0, "a history can be read whatever it holds");
    Expect(objects.size() <= WholeLines(text).size(), "one object a line");
    for (const Json::Value& object : objects) {
        Expect(object.isObject(), "objects only");
        const RunTotals totals = TotalsOf(object);
        Expect(totals.failed <= totals.ran, "what failed has run");
        (void)(WhatOf(object) + RestoredOf(object) + OutcomeOf(object) + TextOf(object, "started"));
    }
    if (objects.empty() || JsonWrite(objects.back(), true, 15).empty())
        return 0;
    Json::Value last = objects.back();
    Expect(AppendHistory(last, false) == 0, "an object can be appended to it");
    const size_t before = objects.size();
    Expect(ReadHistory(objects) == 0 && objects.size() == before + 1, "and is the last one then");
    return 0;
}
