#pragma once

namespace ofx::lumo::servername {

// Names of the service process's local servers. The connection path uses the
// first (followed by the login name and the user id); nothing here uses the
// others, which variants of the service listen on: they are kept beside it so
// that all four names are written down in one place.
inline constexpr char Ipc[] = "_Thrift_Lumo_IPC_";
inline constexpr char Ipc2[] = "_Thrift_Lumo_IPC_2_";
inline constexpr char IpcUwp[] = "_Thrift_Lumo_IPC_UWP_";
inline constexpr char Ipc2Uwp[] = "_Thrift_Lumo_IPC2_UWP_";

} // namespace ofx::lumo::servername
