// Gives the test process a package tree of its own, in a temporary folder that goes with the process.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string root = (std::filesystem::temp_directory_path() / "vgtest.XXXXXX").string();
    if (!mkdtemp(root.data())) {
        std::cerr << "cannot make " << root << '\n';
        return 1;
    }
    setenv("VG_SYSROOT", root.c_str(), 1);
    const int result = RUN_ALL_TESTS();
    std::filesystem::remove_all(root);
    return result;
}
