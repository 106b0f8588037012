// A package tree in memory, the programs run on it, and what it holds as text.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "tests/properties/system.h"

class Tree {
public:
    Tree();
    Tree(const System& system, Form form = Form::AsItIs) : Tree() { Lay(system, m_path, form); }
    ~Tree() { std::filesystem::remove_all(m_path); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    // Runs a command with the tree as its prefix, by the shell; throws when it was killed or took a minute.
    struct Ended {
        int status;
        std::string out;
    };
    Ended Run(const std::string& command) const;

    // Runs the program; `before` are settings of the environment.
    int Upgrade(int build, const std::string& before = "") const;
    Ended Control(const std::string& arguments) const;

    // The contents, one text a thing: every row of every table by the names of its columns, in any order; the schema by
    // table; what belongs to the database as such; the lines of settings files, in any order; other files. Not the logs
    // of the package. Times of the run are left out.
    using State = std::multimap<std::string, std::string>;
    enum class What { All, Declared, Foreign };
    State Read(What what = What::All) const;

    // The bytes of each file of a snapshot.
    State ReadBytes() const;

    // "system.db table.column", also "system.db index NAME".
    std::set<std::string> Schema() const;

    std::string File(const std::string& name) const;  // by its path in the tree

private:
    std::filesystem::path m_path;
};

// What is no longer there, a line each; "" when nothing is.
std::string Lost(const Tree::State& expected, const Tree::State& got, const char* sign = "- ");

std::string Differences(const Tree::State& expected, const Tree::State& got);
