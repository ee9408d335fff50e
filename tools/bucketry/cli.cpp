#include "cli.h"

#include "text.h"

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

} // namespace

CCli::CCli() : m_app("Stores files as objects: single ones, and backups of whole directories.", "bucketry")
{
    m_app.require_subcommand(1);
    m_app.fallthrough();
    m_app.set_version_flag("--version", BUCKETRY_VERSION);
    m_app.add_option("--root", m_options.m_root, "The directory that holds the objects")->type_name("DIR");
    m_app.add_option("--spec", m_options.m_specFile, "The connection specification of a store that holds them instead")
        ->type_name("FILE");
    m_app.add_flag("--json", m_options.m_isJson, "Write the result as one JSON object");
    m_app.add_flag("--verbose", m_options.m_isVerbose, "Show the library's information messages, too");
    m_app.add_flag("--stats", m_options.m_showsStatistics, "Show what was asked of the storage, and the bytes moved");
}

CLI::App& CCli::AddCommand(std::string const& name, std::string const& description, command_t command)
{
    CLI::App* const app = m_app.add_subcommand(name, description);
    app->callback([this, command = std::move(command)] { m_selected = command; });
    return *app;
}

void CCli::AddNotes()
{
    m_app.footer(Notes);
    for (CLI::App* const command : m_app.get_subcommands([](CLI::App*) { return true; }))
    {
        std::string const own = command->get_footer();
        command->footer((own.empty() ? own : own + "\n\n") +
                        "Before or behind every command: --root DIR or --spec FILE, --json, --verbose, --stats; see "
                        "bucketry --help.\n" +
                        Notes);
    }
}

CLI::App& CCli::AddBodyCommand(std::string const& name, std::string const& description, command_t command)
{
    CLI::App& app = AddCommand(name, description, std::move(command));
    SBodyOptions& bodies = m_options.m_bodies;
    app.add_option(
           "--compress", bodies.m_compression,
           "Bodies are compressed: zlib, zstd-fast, zstd or zstd-high. What was compressed with one is read with "
           "any")
        ->type_name("KIND");
    app.add_flag("--encrypt", bodies.m_isEncrypted, "Bodies are encrypted with a key file or a password");
    app.add_option("--key-file", bodies.m_keyFile,
                   "The file that `keys new` wrote; a password is asked for if left out")
        ->type_name("FILE");
    return app;
}

int CCli::Run(int argc, char const* const* argv) noexcept
{
    try
    {
        AddNotes();
        m_app.parse(argc, argv);
        return RunSelected();
    }
    catch (CLI::ParseError const& error)
    {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) // --help and --version
        {
            return m_app.exit(error);
        }
        bool const isJson = std::any_of(argv, argv + argc, [](std::string_view word) { return word == "--json"; });
        COutput(isJson, false).Error(TextOf(error) + " Try --help.");
        return ExitUsage;
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bucketry: %s\n", error.what());
        return ExitFailed;
    }
}

std::string CCli::TextOf(CLI::ParseError const& error) const
{
    std::vector<std::string> const unknown = m_app.remaining();
    bool const isUnknownCommand = m_app.get_subcommands().empty() && !unknown.empty();
    return isUnknownCommand ? "Unknown command: " + Printable(unknown.front()) + "." : error.what() + std::string(".");
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
