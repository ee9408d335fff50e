// SPDX-License-Identifier: Apache-2.0
#include "cli.h"
#include "keys.h"
#include "text.h"

#include <memory>

namespace bucketry::tool
{

void AddKeyCommands(CCli& cli)
{
    auto const file = std::make_shared<std::string>();
    CCommand keys = cli.AddGroup("keys", "Make keys for encryption");
    CCommand make = keys.AddPart("new", "Write a new key to a new file that only its owner can read",
                                 [file](CHost& host)
                                 {
                                     WriteNewKeyFile(*file);
                                     host.Output().Result("", CJsonObject().Add("file", *file));
                                     return ExitOk;
                                 });
    make.AddOption("FILE", *file, "The file to write").Required();
    make.SetFooter("Keep a copy elsewhere: what was encrypted with a key that is lost is lost.");
}

} // namespace bucketry::tool
