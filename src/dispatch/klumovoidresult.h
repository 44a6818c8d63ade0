#pragma once

namespace ofx::lumoipc {

/**
 * The result delivered for a method whose reply carries no value
 * (callNotifyMsgStatusChanged, callClearMsgNotification, clearUserCache). It lets
 * those methods keep the one slot contract, (bool, const QString &, const T &):
 * a receiver declares its parameter as `const KLumoVoidResult &` (the plain
 * name it is registered under) or `const ofx::lumoipc::KLumoVoidResult &`. A
 * plain value; any thread.
 */
struct KLumoVoidResult
{
    /// Always equal: there is nothing to compare.
    bool operator==(const KLumoVoidResult &) const { return true; }
    /// Never different.
    bool operator!=(const KLumoVoidResult &) const { return false; }
};

} // namespace ofx::lumoipc

using ofx::lumoipc::KLumoVoidResult;
