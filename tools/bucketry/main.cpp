// SPDX-License-Identifier: Apache-2.0
#include "cli.h"

int main(int argc, char** argv)
{
    bucketry::tool::CCli cli;
    bucketry::tool::AddObjectCommands(cli);
    bucketry::tool::AddFolderCommands(cli);
    bucketry::tool::AddBackupCommands(cli);
    bucketry::tool::AddKeyCommands(cli);
    bucketry::tool::AddArchiveCommands(cli);
    bucketry::tool::AddVersionCommands(cli);
    bucketry::tool::AddLockCommand(cli);
    bucketry::tool::AddSpecCommands(cli);
    bucketry::tool::AddSimulateCommand(cli);
    return cli.Run(argc, argv);
}
