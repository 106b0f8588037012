// The store of event labels: the coloured tags that a user can attach to recorded events
// (gszTableEventLabelSetting of the main database).
#pragma once

#include <json/value.h>

// What kind of recorded event, and where its labels come from: numbers of the columns event_type and source.
enum REC_EVENT_TYPE : long long {};
enum EVENT_LABEL_SETTING_SRC : long long {};

// Stores the labels of one pair of event type and source, replacing those that the pair had; the other
// columns of its row stay. Returns 0 or -1.
//
// The setting is an array of label objects:
//   type        a single bit that identifies the label within its category
//   categ       1 for the fixed labels, 2 for the user's
//   enabled     boolean
//   text        string
//   background  colour, "#RRGGBB" with upper-case digits
// It is stored on one line; an object's keys stand in alphabetical order.
[[nodiscard]] int SetEvtLabelSetting(REC_EVENT_TYPE type, EVENT_LABEL_SETTING_SRC source,
                                     const Json::Value& setting);
