#include "cli.h"
#include "keys.h"
#include "text.h"

#include <memory>

namespace bucketry::tool
{

void AddKeyCommands(CCli& cli)
{
    auto const file = std::make_shared<std::string>();
    CLI::App& keys = cli.AddCommand("keys", "Make keys for encryption",
                                    [file](CHost& host)
                                    {
                                        WriteNewKeyFile(*file);
                                        host.Output().Result("", CJsonObject().Add("file", *file));
                                        return ExitOk;
                                    });
    keys.require_subcommand(1);
    CLI::App& make = *keys.add_subcommand("new", "Write a new key to a new file that only its owner can read");
    make.add_option("FILE", *file, "The file to write")->required();
    make.footer("Keep a copy elsewhere: what was encrypted with a key that is lost is lost.");
}

} // namespace bucketry::tool
