// Cameras as the package keeps them: table camera of the main database, in whatever form an old build has
// left it. A database that lacks one of the columns gives cameras without that value.
#pragma once

#include <list>
#include <string>

struct Camera {
    long long id;

    // The notification schedule as stored, '' when the camera has none: hexadecimal words joined by ",", one a half
    // hour of the week. The digits of a word are as many as the build that wrote it knew (settings key
    // cam_noti_sched_char_num).
    std::string notifySchedule;
};

// Every camera, in ascending id order; of rows that share an id the first, and none whose id is no number. Replaces
// what the list held. Returns 0 on success, also when there is none; -1 when the table cannot be read (the list is
// then empty), logged by the database library.
[[nodiscard]] int CamGetList(std::list<Camera>& cameras);

// Writes every camera's row anew, which runs the triggers of the table for each; all or none. Every column
// keeps its value to the byte, also one that text cannot carry. Returns 0, also when there is no table; -1,
// logged by the database library.
[[nodiscard]] int CamSaveAll();
