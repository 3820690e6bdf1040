// SPDX-License-Identifier: Apache-2.0
// login_client.cpp -- the client's address out of SSH_CONNECTION, and the session's type.
#include "session/login_client.h"

#include <string.h>

namespace
{

void ReadConnection(const char *connection, RegistryRecord *client)
{
    static constexpr char kMapped[] = "::ffff:";
    char word[sizeof(client->addressText)];
    size_t length = strcspn(connection, " ");
    if (length >= sizeof(word))
        return;
    memcpy(word, connection, length);
    word[length] = '\0';
    const char *address = word;
    if (strncasecmp(word, kMapped, sizeof(kMapped) - 1) == 0 && strchr(word, '.') != nullptr)
        address += sizeof(kMapped) - 1;
    RegistryParseAddress(address, client);
}

}  // namespace

void LoginTakeClient(LoginOptions *options, const char *connection, bool atTerminal)
{
    bool overNetwork = options->client.addressText[0] != '\0' || connection != nullptr;
    if (options->client.addressText[0] == '\0' && connection != nullptr)
        ReadConnection(connection, &options->client);
    if (!options->typeGiven)
        options->type = overNetwork || !atTerminal ? kLoginTypeNetwork : kLoginTypeConsole;
}
