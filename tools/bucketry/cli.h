#pragma once

#include "host.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace bucketry::tool
{

/// Exit statuses: the work is done, it failed in part or as a whole, it was never begun for wrong use.
enum EExitStatus : int
{
    ExitOk = 0,
    ExitFailed = 1,
    ExitUsage = 2
};

/// The command line: the global options, and the commands that register themselves.
class CCli
{
public:
    /// The exit status.
    using command_t = std::function<int(CHost& host)>;

    CCli();

    /// A new command; its options are added to the result and must live as long as this object.
    CLI::App& AddCommand(std::string const& name, std::string const& description, command_t command);

    /// The same for a command that moves bodies: with the options that say how they are stored.
    CLI::App& AddBodyCommand(std::string const& name, std::string const& description, command_t command);

    /// Parses the arguments and runs the command that they name. Never throws; messages have been written.
    int Run(int argc, char const* const* argv) noexcept;

private:
    void AddNotes(); ///< what every help text ends with
    int RunSelected();
    int RunSelected(CHost& host);
    std::string TextOf(CLI::ParseError const& error) const;

    CLI::App m_app;
    SGlobalOptions m_options;
    command_t m_selected;
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
