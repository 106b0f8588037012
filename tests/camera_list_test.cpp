#include "platform/package/camera.h"
#include "platform/package/resolution.h"
#include "tests/support/system_tree.h"

namespace {

class CameraListTest : public SystemTree {
protected:
    // The list as text: id:schedule
    static std::string List() {
        std::list<Camera> cameras = {{0, "left over"}};
        if (CamGetList(cameras))
            return cameras.empty() ? "failed" : "failed, list not empty";
        std::string text;
        for (const Camera& camera : cameras)
            text += std::to_string(camera.id) + ':' + camera.notifySchedule + ' ';
        return text;
    }
};

TEST_F(CameraListTest, GivesCamerasById) {
    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER, name TEXT, notifyschedule TEXT);"
        "INSERT INTO camera VALUES(7, 'Yard', 'FF,0'), (2, NULL, NULL), (7, 'Second of 7', '1'), ('x', '', 'F'),"
        " (4294967298, '', 'E');");
    EXPECT_EQ("2: 7:FF,0 4294967298:E ", List());
}

TEST_F(CameraListTest, ReadsTablesOfOldBuilds) {
    EXPECT_EQ("failed", List()) << "no database";
    Sql(DB_SYSTEM, "CREATE TABLE it(x); ");
    EXPECT_EQ("failed", List()) << "no table";
    Sql(DB_SYSTEM, "CREATE TABLE camera(id INTEGER PRIMARY KEY, name TEXT);");
    EXPECT_EQ("", List()) << "no camera";
    Sql(DB_SYSTEM, "INSERT INTO camera VALUES(1, 'Gate');");
    EXPECT_EQ("1: ", List()) << "no notification schedule";
}

TEST(CameraResolutionTest, NormalisesWhatItKnowsAndLeavesTheRest) {
    const struct {
        const char* text;
        const char* normalised;
    } cases[] = {
        {"1920x1080", "1920x1080"},
        {"1920X1080", "1920x1080"},
        {" 1280 x 720 ", "1280x720"},
        {"\t640X\n480", "640x480"},
        {"1080P", "1920x1080"},
        {"720p", "1280x720"},
        {" VGA ", "640x480"},
        {"QVGA", "320x240"},
        {"SXGA", "1280x1024"},  // its X is no multiplication sign
        {"CIF", "352x288"},
        {"4cif", "704x576"},
        {"DCIF", "528x384"},
        {"D1", "720x576"},
        {"4K", "3840x2160"},
        // Anything else, byte for byte
        {"", ""},
        {" ", " "},
        {"x", "x"},
        {"1920x", "1920x"},
        {"x1080", "x1080"},
        {"-1x5", "-1x5"},
        {"1 9x5", "1 9x5"},
        {"1x2x3", "1x2x3"},
        {"1920x1080p", "1920x1080p"},
        {" Fisheye ", " Fisheye "},
    };
    for (const auto& [text, normalised] : cases)
        EXPECT_EQ(normalised, TextReso2Reso(text)) << '"' << text << '"';
    const std::string digits(1'000'000, '9');
    EXPECT_EQ(digits + 'x' + digits, TextReso2Reso(digits + 'X' + digits));
}

}  // namespace
