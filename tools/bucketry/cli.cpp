// SPDX-License-Identifier: Apache-2.0
#include "cli.h"

#include "text.h"

// Here only: it takes a compiler longer than all else in the tool.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <string_view>
#include <vector>

namespace bucketry::tool
{

namespace
{

constexpr char const* Notes = "PATH names an object or folder below the root; \"/\" separates folders.\n"
                              "Exit status: 0 done, 1 the work failed, 2 wrong use.";

CLI::App& AddSubcommand(CLI::App& parent, std::string const& name, std::string const& description,
                        CCommand::run_t& selected, CCommand::run_t run)
{
    CLI::App* const app = parent.add_subcommand(name, description);
    app->callback([&selected, run = std::move(run)] { selected = run; });
    return *app;
}

std::string TextOf(CLI::App const& app, CLI::ParseError const& error)
{
    std::vector<std::string> const unknown = app.remaining();
    bool const isUnknownCommand = app.get_subcommands().empty() && !unknown.empty();
    return isUnknownCommand ? "Unknown command: " + Printable(unknown.front()) + "." : error.what() + std::string(".");
}

} // namespace

COption& COption::Required()
{
    m_option->required();
    return *this;
}

COption& COption::ShowDefault()
{
    m_option->capture_default_str();
    return *this;
}

COption& COption::Takes(std::string const& word)
{
    m_option->type_name(word);
    return *this;
}

template <typename T>
COption& COption::Between(T lowest, T highest)
{
    m_option->check(CLI::Range(lowest, highest));
    return *this;
}

template COption& COption::Between(std::int32_t, std::int32_t);
template COption& COption::Between(std::uint32_t, std::uint32_t);
template COption& COption::Between(std::uint64_t, std::uint64_t);

COption& COption::OneOf(std::vector<std::string> const& words)
{
    m_option->check(CLI::IsMember(words));
    return *this;
}

COption& COption::Needs(COption const& other)
{
    m_option->needs(other.m_option);
    return *this;
}

COption& COption::Excludes(COption const& other)
{
    m_option->excludes(other.m_option);
    return *this;
}

template <typename T>
COption CCommand::AddOption(std::string const& names, T& value, std::string const& description)
{
    return COption(*m_app->add_option(names, value, description));
}

template COption CCommand::AddOption(std::string const&, std::string&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::optional<std::string>&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::vector<std::string>&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::uint16_t&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::int32_t&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::uint32_t&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::optional<std::uint32_t>&, std::string const&);
template COption CCommand::AddOption(std::string const&, std::uint64_t&, std::string const&);

COption CCommand::AddFlag(std::string const& names, bool& value, std::string const& description)
{
    return COption(*m_app->add_flag(names, value, description));
}

CCommand CCommand::AddPart(std::string const& name, std::string const& description, run_t run)
{
    return {AddSubcommand(*m_app, name, description, *m_selected, std::move(run)), *m_selected};
}

void CCommand::SetFooter(std::string const& text)
{
    m_app->footer(text);
}

CCli::CCli()
    : m_app(std::make_unique<CLI::App>("Stores files as objects: single ones, and backups of whole directories.",
                                       "bucketry"))
{
    m_app->require_subcommand(1);
    m_app->fallthrough();
    m_app->set_version_flag("--version", BUCKETRY_VERSION);
    CCommand global(*m_app, m_selected);
    global.AddOption("--root", m_options.m_root, "The directory that holds the objects").Takes("DIR");
    global.AddOption("--spec", m_options.m_specFile, "The connection specification of a store that holds them instead")
        .Takes("FILE");
    global.AddFlag("--json", m_options.m_isJson, "Write the result as one JSON object");
    global.AddFlag("--verbose", m_options.m_isVerbose, "Show the library's information messages, too");
    global.AddFlag("--stats", m_options.m_showsStatistics, "Show what was asked of the storage, and the bytes moved");
}

CCli::~CCli() = default;

CCommand CCli::AddCommand(std::string const& name, std::string const& description, CCommand::run_t run)
{
    return {AddSubcommand(*m_app, name, description, m_selected, std::move(run)), m_selected};
}

CCommand CCli::AddBodyCommand(std::string const& name, std::string const& description, CCommand::run_t run)
{
    CCommand command = AddCommand(name, description, std::move(run));
    SBodyOptions& bodies = m_options.m_bodies;
    command
        .AddOption("--compress", bodies.m_compression,
                   "Bodies are compressed: zlib, zstd-fast, zstd or zstd-high. What was compressed with one is read "
                   "with any")
        .Takes("KIND");
    command.AddFlag("--encrypt", bodies.m_isEncrypted, "Bodies are encrypted with a key file or a password");
    command
        .AddOption("--key-file", bodies.m_keyFile,
                   "The file that `keys new` wrote; a password is asked for if left out")
        .Takes("FILE");
    return command;
}

CCommand CCli::AddGroup(std::string const& name, std::string const& description)
{
    CLI::App* const app = m_app->add_subcommand(name, description);
    app->require_subcommand(1);
    return {*app, m_selected};
}

void CCli::AddNotes()
{
    m_app->footer(Notes);
    for (CLI::App* const command : m_app->get_subcommands([](CLI::App*) { return true; }))
    {
        std::string const own = command->get_footer();
        command->footer((own.empty() ? own : own + "\n\n") +
                        "Before or behind every command: --root DIR or --spec FILE, --json, --verbose, --stats; see "
                        "bucketry --help.\n" +
                        Notes);
    }
}

int CCli::Run(int argc, char const* const* argv) noexcept
{
    try
    {
        AddNotes();
        m_app->parse(argc, argv);
        return RunSelected();
    }
    catch (CLI::ParseError const& error)
    {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) // --help and --version
        {
            return m_app->exit(error);
        }
        bool const isJson = std::any_of(argv, argv + argc, [](std::string_view word) { return word == "--json"; });
        COutput(isJson, false).Error(TextOf(*m_app, error) + " Try --help.");
        return ExitUsage;
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bucketry: %s\n", error.what());
        return ExitFailed;
    }
}

int CCli::RunSelected()
{
    COutput output(m_options.m_isJson, m_options.m_isVerbose);
    CHost host(m_options, output);
    int const status = RunSelected(host);
    host.ShowStatistics();
    return status;
}

int CCli::RunSelected(CHost& host)
{
    try
    {
        return m_selected(host);
    }
    catch (CUsageError const& error)
    {
        host.Output().Error(error.what());
        return ExitUsage;
    }
    catch (std::exception const& error)
    {
        host.Output().Error(error.what());
        return ExitFailed;
    }
}

} // namespace bucketry::tool
