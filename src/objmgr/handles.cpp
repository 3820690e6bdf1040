// SPDX-License-Identifier: Apache-2.0
// handles.cpp -- the open connections of this process.
#include "objmgr/handles.h"

OpenConnection gConnections[kObjMgrMaxConnections];

namespace
{

OpenConnection *FreePlace()
{
    for (OpenConnection &connection : gConnections) {
        if (connection.handle == 0)
            return &connection;
    }
    return nullptr;
}

// The generation is never 0, so that no handle is.
ObjMgrHandle NextHandle(OpenConnection *connection)
{
    connection->generation = (connection->generation + 1) & (UINT32_MAX >> kHandlePlaceBits);
    if (connection->generation == 0)
        connection->generation = 1;
    return connection->generation << kHandlePlaceBits | static_cast<u32>(connection - gConnections);
}

}  // namespace

OpenConnection *HandleOpen(Snapshot *snapshot)
{
    OpenConnection *connection = FreePlace();
    if (connection == nullptr)
        return nullptr;
    connection->handle = NextHandle(connection);
    connection->snapshot = snapshot;
    connection->privilege = {};
    return connection;
}

void HandleClose(OpenConnection *connection)
{
    SnapshotRelease(connection->snapshot);
    connection->snapshot = nullptr;
    connection->handle = 0;
}
