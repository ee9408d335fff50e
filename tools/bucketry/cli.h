// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace bucketry::tool
{

/// Exit statuses: the work is done, it failed in part or as a whole, it was never begun for wrong use.
enum EExitStatus : int
{
    ExitOk = 0,
    ExitFailed = 1,
    ExitUsage = 2
};

/// An option or an argument of a command: a handle, to say more about it.
class COption
{
public:
    explicit COption(CLI::Option& option) noexcept : m_option(&option) {}

    COption& Required();
    COption& ShowDefault();
    COption& Takes(std::string const& word); ///< what the help calls its value
    /// T is int, or an unsigned type of 32 or 64 bits.
    template <typename T>
    COption& Between(T lowest, T highest);
    COption& OneOf(std::vector<std::string> const& words);
    COption& Needs(COption const& other);
    COption& Excludes(COption const& other);

private:
    CLI::Option* m_option;
};

/// A command, or a part of one such as `new` in `keys new`: a handle, valid as long as the command line.
class CCommand
{
public:
    /// The exit status.
    using run_t = std::function<int(CHost& host)>;

    /// \param selected  where the command that the user named is put
    CCommand(CLI::App& app, run_t& selected) noexcept : m_app(&app), m_selected(&selected) {}

    /// \param names  "-s,--long" for an option, one word for an argument
    /// \param value  must live as long as the command line. A string, an integer that is used somewhere (cli.cpp lists
    ///               them), one of both that may be missing, or several strings
    template <typename T>
    COption AddOption(std::string const& names, T& value, std::string const& description);
    COption AddFlag(std::string const& names, bool& value, std::string const& description);
    CCommand AddPart(std::string const& name, std::string const& description, run_t run);
    /// What the help says at the end.
    void SetFooter(std::string const& text);

private:
    CLI::App* m_app;
    run_t* m_selected;
};

/// The command line: the global options, and the commands that register themselves.
class CCli
{
public:
    CCli();
    ~CCli();

    CCommand AddCommand(std::string const& name, std::string const& description, CCommand::run_t run);

    /// The same for a command that moves bodies: with the options that say how they are stored.
    CCommand AddBodyCommand(std::string const& name, std::string const& description, CCommand::run_t run);

    /// A command that consists of parts, of which the user must name one.
    CCommand AddGroup(std::string const& name, std::string const& description);

    /// Parses the arguments and runs the command that they name. Never throws; messages have been written.
    int Run(int argc, char const* const* argv) noexcept;

private:
    void AddNotes(); ///< what every help text ends with
    int RunSelected();
    int RunSelected(CHost& host);

    std::unique_ptr<CLI::App> m_app;
    SGlobalOptions m_options;
    CCommand::run_t m_selected;
};

void AddObjectCommands(CCli& cli);  ///< put, get, cat, stat, cp
void AddFolderCommands(CCli& cli);  ///< ls, mkdir, du, rm
void AddBackupCommands(CCli& cli);  ///< backup, verify, restore
void AddKeyCommands(CCli& cli);     ///< keys new
void AddArchiveCommands(CCli& cli); ///< archive restore, archive status, batch restore, batch status
void AddVersionCommands(CCli& cli); ///< versions, keep
void AddLockCommand(CCli& cli);
void AddSpecCommands(CCli& cli); ///< spec new, spec check
void AddSimulateCommand(CCli& cli);

} // namespace bucketry::tool
