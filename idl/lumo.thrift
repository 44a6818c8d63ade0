// Interface between the client library and the cloud-service process.
// Records are declared before use; field ids, names and spellings are part of the wire contract.

namespace cpp ofx.lumo

struct AddGroupMemberFailedInfo {
  1: string result
  2: string msg
  3: string userId
  4: string name
  5: map<string,string> extraParam
}

struct AddGroupMembersArg {
  1: string userId
  2: string groupId
  3: list<string> memberIds
  4: string memberRole
  5: map<string,string> extraParam
}

struct GroupMemberInfo {
  1: i32 state
  2: string userId
  3: string groupId
  4: string memberId
  5: string name
  6: string avatarUrl
  7: string userRole
  8: string result
  9: string msg
  10: map<string,string> extraParam
}

struct AddGroupMembersResult {
  1: i32 state
  2: list<GroupMemberInfo> memberInfos
  3: list<string> failIds
  4: list<AddGroupMemberFailedInfo> failedInfoList
  5: map<string,string> extraParam
}

struct AddRoamingRecordArg {
  1: string filePath
  2: string appType
  3: string fileId
  4: string parentId
  5: string groupId
  6: string status
  7: string operation
  8: map<string,string> extraParam
}

struct RecentFileItem {
  1: string appType
  2: string b64fName
  3: i64 collectTime
  4: i64 ctime
  5: string curDeviceId
  6: string curDeviceName
  7: string curDeviceType
  8: bool deleted
  9: string external
  10: i64 fileTime
  11: string fileSrc
  12: string fileSrcType
  13: string fileId
  14: string groudId
  15: bool isTmp
  16: i64 mtime
  17: string name
  18: string operation
  19: string opv
  20: string oriDevId
  21: string oriDevName
  22: string oriDevType
  23: string path
  24: string roamingId
  25: i64 size
  26: string status
  27: string summary
  28: string thumbnail
  29: string userId
  30: i32 fileState
  31: string taskId
  32: string cachePath
  33: i64 cacheFver
  34: i64 srcMtime
  35: i64 fver
  36: string sha1
  37: bool fake
  38: string lastUserId
  39: i64 lastUserModifyTime
  40: string fileType
  41: map<string,string> extraParam
}

struct AddRoamingRecordResult {
  1: i32 state
  2: RecentFileItem roamingInfo
  3: map<string,string> extraParam
}

struct AIGrayUserListExistArg {
  1: string userid
  2: map<string,string> extraParam
}

struct AIGrayUserListExistResult {
  1: i32 state
  2: bool isExist
  3: map<string,string> extraParam
}

struct CloudItemId {
  1: string groupId
  2: string id
  3: map<string,string> extraParam
}

struct AIRightSidePanelInfo {
  1: i32 type
  2: CloudItemId folderItem
  3: list<CloudItemId> selectedItems
  4: map<string,string> extraParam
}

struct AISearchFilters {
  1: string userid
  2: string groupid
  3: list<string> filter_category
  4: map<string,string> extraParam
}

struct AISearchFilterStatusArg {
  1: string userid
  2: string groupid
  3: list<string> filter_id
  4: list<bool> filter_status
  5: map<string,string> extraParam
}

struct AutoSyncArg {
  1: bool sync
  2: map<string,string> extraParam
}

struct AutoSyncResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct BatchCopyArg {
  1: string userId
  2: string groupId
  3: string parentId
  4: string dirPath
  5: list<string> params
  6: string callFrom
  7: map<string,string> extraParam
}

struct BatchCopyResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct BatchDestroyRecycleFilesArg {
  1: list<string> fileIds
  2: list<string> groupIds
  3: map<string,string> extraParam
}

struct BatchDestroyRecycleFilesResult {
  1: i32 state
  2: map<string,string> extraParam
  3: list<string> failList
}

struct BatchMoveChildArg {
  1: string userId
  2: string fileId
  3: string groupId
  4: string targetGroupId
  5: string targetParentId
  6: string sourceItemLocalPath
  7: map<string,string> extraParam
}

struct BatchMoveChildResult {
  1: i32 state
  2: string userId
  3: string taskId
  4: list<string> listNewFileId
  5: string result
  6: map<string,string> extraParam
}

struct UserAcl {
  1: bool bRead
  2: bool bNewEmpty
  3: bool bUpload
  4: bool bUpdate
  5: bool bRename
  6: bool bMove
  7: bool bCopy
  8: bool bShare
  9: bool bRemove
  10: bool bDownload
  11: bool bHistory
  12: bool bSecret
  13: map<string,string> extraParam
}

struct CloudItem {
  1: string groupId
  2: string parentId
  3: string id
  4: i64 size
  5: string name
  6: string type
  7: string creator
  8: string modifier
  9: i64 ctime
  10: i64 mtime
  11: string cache
  12: bool deleted
  13: i32 fileState
  14: string taskId
  15: i32 progress
  16: double averageSpeed
  17: UserAcl userAcl
  18: string fileId
  19: string tipDescribe
  20: list<string> category
  21: i32 virtualType
  22: bool autoUpdate
  23: i64 cloudVersion
  24: bool syncFolder
  25: string linkGroupId
  26: string originType
  27: string roamingPath
  28: string companyId
  29: i64 shareCTime
  30: map<string,string> extraParam
}

struct GroupInfo {
  1: i32 state
  2: string id
  3: i64 ctime
  4: i64 mtime
  5: string name
  6: string creator
  7: string type
  8: string cache
  9: string userRole
  10: UserAcl userAcl
  11: i64 member_count
  12: bool autoUpdate
  13: string creator_id
  14: string creator_avatar
  15: string companyId
  16: string linkFolderId
  17: map<string,string> extraParam
}

struct CompanyItem {
  1: string id
  2: string name
  3: string contact
  4: string phone
  5: string wirePhone
  6: string description
  7: string email
  8: string domain
  9: string country
  10: string province
  11: string city
  12: string postal
  13: string address
  14: i64 scale
  15: string ctype
  16: string status
  17: string creator
  18: i64 ctime
  19: i64 mtime
  20: map<string,string> extraParam
}

struct LinkFileInfo {
  1: string sid
  2: string fileId
  3: string ftype
  4: string fname
  5: i64 fsize
  6: i64 ctime
  7: string permission
  8: string linkGroupId
  9: string modifierId
  10: string modifierName
  11: string modifierAvatar
  12: string modifierCorpId
  13: map<string,string> extraParam
}

struct LinkInfo {
  1: string id
  2: string shareType
  3: string shareName
  4: string groupId
  5: string groupCorpId
  6: i64 ctime
  7: string creatorId
  8: string creatorName
  9: string creatorAvatar
  10: string creatorCorpId
  11: string userRole
  12: i64 mtime
  13: LinkFileInfo fileInfo
  14: string cachePath
  15: map<string,string> extraParam
}

struct BatchParentItemsInfo {
  1: map<string,CloudItem> parentMap
  2: map<string,GroupInfo> groupMap
  3: map<string,CompanyItem> companyMap
  4: map<string,LinkInfo> linkGroupMap
  5: map<string,string> extraParam
}

struct BatchQueryDocCollaborativeStatusArg {
  1: string userId
  2: list<string> fileIds
  3: map<string,string> extraParam
}

struct CollaborativeUserInfo {
  1: i64 joinTime
  2: string userId
  3: string clientType
  4: string clientVersion
  5: string clientChannel
  6: string deviceId
  7: string accountDeviceId
  8: string accountDeviceName
  9: list<i32> status
  10: map<string,string> extraParam
}

struct DocCollaborativeInfo {
  1: string fileId
  2: i64 fileVersion
  3: list<CollaborativeUserInfo> collaborativeUserInfos
  4: map<string,string> extraParam
}

struct BatchQueryDocCollaborativeStatusResult {
  1: i32 state
  2: list<DocCollaborativeInfo> docCollaborativeInfos
  3: map<string,string> extraParam
}

struct ReminderItemArgEntry {
  1: string groupId
  2: string fileId
  3: bool isShareToMeFile
  4: map<string,string> extraParam
}

struct BatchQueryItemReminderArg {
  1: string userId
  2: list<ReminderItemArgEntry> fileList
  3: bool needSync
  4: map<string,string> extraParam
}

struct ReminderItemInfo {
  1: string groupId
  2: string fileId
  3: bool bReminder
  4: map<string,string> extraParam
}

struct BatchQueryItemReminderResult {
  1: i32 state
  2: list<ReminderItemInfo> reminderItemList
  3: map<string,string> extraParam
}

struct BatchQueryUserDataArg {
  1: string userId
  2: list<string> userIds
  3: map<string,string> extraParam
}

struct UserData {
  1: string userId
  2: string userName
  3: string userAvatar
  4: map<string,string> extraParam
}

struct BatchQueryUserDataResult {
  1: i32 state
  2: list<UserData> userDatas
  3: map<string,string> extraParam
}

struct BatchRecoverRecycleFilesArg {
  1: list<string> fileIds
  2: list<string> groupIds
  3: map<string,string> extraParam
}

struct BatchRecoverRecycleFilesResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct fileActionInfo {
  1: string id
  2: string fileType
  3: string fileId
  4: map<string,string> extraParam
}

struct BatchRemoveArg {
  1: string userId
  2: string groupId
  3: list<fileActionInfo> param
  4: bool showErrorBubble
  5: map<string,string> extraParam
}

struct ServerErrorInfo {
  1: string errResult
  2: string errString
  3: map<string,string> extraParam
}

struct BatchRemoveResult {
  1: i32 state
  2: string userId
  3: ServerErrorInfo errInfo
  4: map<string,string> extraParam
}

struct BatchUploadFilesToCloudArg {
  1: string groupId
  2: string parentId
  3: list<string> fileList
  4: string fileId
  5: bool showFinishedDetail
  6: map<string,string> extraParam
}

struct CallClearMsgNotificationArg {
  1: list<string> msgCategories
  2: map<string,string> extraParam
}

struct MsgStatusChangedItem {
  1: string category
  2: string msgId
}

struct CallNotifyMsgStatusChangedArg {
  1: i32 msgStatus
  2: list<MsgStatusChangedItem> msgItemList
  3: map<string,string> extraParam
}

struct CallNotifyMsgStatusChangedResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CancelFavoriteItemArg {
  1: string favoriteId
  2: string fileId
  3: string groupId
  4: map<string,string> extraParam
}

struct CancelFavoriteItemResult {
  1: i32 state
  2: string fileId
  3: string groupId
  4: map<string,string> extraParam
}

struct CancelFileShareArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: map<string,string> extraParam
}

struct CancelFileShareResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CancelLinkArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: map<string,string> extraParam
}

struct CancelLinkResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CancelQuickAccessItemArg {
  1: string qcid
}

struct CancelQuickAccessItemResult {
  1: i32 state
}

struct CancelSearchRequestArg {
  1: i32 requestFrom
  2: map<string,string> extraParam
}

struct CancelSearchRequestResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct CancelShareFolderArg {
  1: string userId
  2: string groupId
  3: string folderId
  4: map<string,string> extraParam
}

struct CancelShareFolderResult {
  1: i32 state
  2: string groupId
  3: string folderId
  4: string result
  5: string errMsg
  6: map<string,string> extraParam
}

struct CancelStarItemArg {
  1: string fileId
  2: string groupId
  3: string parentId
  4: map<string,string> extraParam
}

struct CancelStarItemResult {
  1: i32 state
  2: string fileId
  3: string groupId
  4: string parentId
  5: string id
  6: string originType
  7: string linkGroupId
  8: map<string,string> extraParam
}

struct CancelSyncArg {
  1: string userId
  2: string groupId
  3: string id
  4: map<string,string> extraParam
}

struct CancelSyncResult {
  1: i32 state
  2: CloudItem itemInfo
  3: map<string,string> extraParam
}

struct CanDragDropToSystemArg {
  1: string userId
  2: string groupId
  4: list<CloudItem> fileItems
  5: list<CloudItem> folderItems
  6: map<string,string> extraParam
}

struct CanDragDropToSystemResult {
  1: i32 state
  2: i32 type
  3: list<CloudItem> ltItem
  4: map<string,CloudItem> mapParentItem
  5: map<string,GroupInfo> mapGroupItem
  6: map<string,string> extraParam
}

struct CanShareFolderArg {
  1: string groupId
  2: string fileId
  3: map<string,string> extraParam
}

struct CanShareFolderResult {
  1: i32 state
  2: bool canShare
  3: i32 error
  4: map<string,string> extraParam
}

struct ChangeContentSearchStatusArg {
  1: i32 status
  2: map<string,string> extraParam
}

struct ChangeContentSearchStatusUserInfoItem {
  1: string userid
  2: i64 ctime
  3: i64 mtime
  4: i64 etime
  5: i32 status
  6: map<string,string> extraParam
}

struct ChangeContentSearchStatusResult {
  1: i32 state
  2: ChangeContentSearchStatusUserInfoItem userInfo
  3: map<string,string> extraParam
}

struct ChangeDisplayModeArg {
  1: i32 mode
  2: map<string,string> extraParam
}

struct ChangeDisplayModeResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ChangeLinkSettingArg {
  1: string linkSid
  2: string range
  3: string permission
  4: string period
  5: map<string,string> extraParam
}

struct ChangeLinkSettingResult {
  1: i32 state
  2: LinkFileInfo linkFileInfo
  3: map<string,string> extraParam
}

struct ChangeMemberRoleArg {
  1: string userId
  2: string groupId
  3: string memberId
  4: string role
  5: map<string,string> extraParam
}

struct ChangeMemberRoleResult {
  1: i32 state
  2: string result
  3: string userId
  4: string groupId
  5: string memberId
  6: string memberRole
  7: string msg
  8: map<string,string> extraParam
}

struct ChangeWorkspaceStatusArg {
  1: string companyId
  2: map<string,string> extraParam
}

struct ChangeWorkspaceStatusResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CheckDesktopSyncSwitchConflictArg {
  1: string userId
  2: i32 fileCount
  3: i64 fileTotalSize
  4: map<string,string> extraParam
}

struct CheckDesktopSyncSwitchConflictResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CheckDesktopSyncWorkWellArg {
  1: string userId
  2: string callFrom
  3: i32 checkItem
  4: map<string,string> extraParam
}

struct CheckDesktopSyncWorkWellResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CheckSkinStatusArg {
  1: string skinId
  2: string clientVersion
  3: string clientType
  4: string skinName
  5: map<string,string> extraParam
}

struct CheckSkinStatusItem {
  1: bool isValid
  2: string url
  3: string md5
  4: string limits
  5: string skinId
  6: map<string,string> extraParam
}

struct CheckSkinStatusResult {
  1: i32 state
  2: CheckSkinStatusItem item
  3: map<string,string> extraParam
}

struct ClearAllUnreadEventsArg {
  1: string userId
  2: string groupId
  3: string folderId
  4: map<string,string> extraParam
}

struct ClearAllUnreadEventsResult {
  1: i32 state
  2: string groupId
  3: i64 unreadFileCount
  4: map<string,string> extraParam
}

struct ClearCacheArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: map<string,string> extraParam
}

struct ClearCacheResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ClearRecycleBinArg {
  1: string userId
  2: map<string,string> extraParam
}

struct ClearRecycleBinResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ClearRecycleBinV5Arg {
  1: string userId
  2: string corpId
  3: map<string,string> extraParam
}

struct ClearRecycleBinV5Result {
  1: i32 state
  2: map<string,string> extraParam
}

struct CloseLinkV3Arg {
  1: string fileId
  2: map<string,string> extraParam
}

struct CloseLinkV3Result {
  1: i32 state
  2: bool bSuccess
  3: map<string,string> extraParam
}

struct CloudDocContentSearchArg {
  1: string searchName
  2: string exts
  3: string orderBy
  4: string order
  5: i32 offset
  6: i32 count
  7: bool include_folder
  8: bool search_file_name
  9: bool search_file_content
  10: i32 highlight_len
  11: map<string,string> extraParam
}

struct CloudDocContentSearchFileInfoItem {
  1: i64 ctime
  2: bool deleted
  3: string fileId
  4: string fileName
  5: string fileSha
  6: i64 fileSize
  7: string fileType
  8: i64 fileVersion
  9: string groupName
  10: string groupType
  11: string groupId
  12: i64 mtime
  13: string parent
  14: string path
  15: list<i64> pathIds
  16: string secureGuid
  17: i64 store
  18: string storeId
  19: string userNickName
  20: string userId
  21: list<string> fileContents
  22: map<string,string> extraParam
}

struct CloudDocSearchGroupInfoItem {
  1: string name
  2: map<string,string> extraParam
}

struct CloudDocContentSearchResult {
  1: i32 state
  2: list<CloudDocContentSearchFileInfoItem> fileInfos
  3: list<CloudDocSearchGroupInfoItem> groupInfos
  4: map<string,string> extraParam
}

struct CloudDocSearchArg {
  1: string searchName
  2: string exts
  3: string orderBy
  4: string order
  5: i32 offset
  6: i32 count
  7: map<string,string> extraParam
}

struct CloudDocSearchFileInfoItem {
  1: i64 ctime
  2: bool deleted
  3: string fileId
  4: string fileName
  5: string fileSha
  6: i64 fileSize
  7: string fileType
  8: i64 fileVersion
  9: string groupName
  10: string groupType
  11: string groupId
  12: i64 mtime
  13: string parent
  14: string path
  15: list<i64> pathIds
  16: string secureGuid
  17: i64 store
  18: string storeId
  19: string userNickName
  20: string userId
  21: map<string,string> extraParam
}

struct CloudDocSearchResult {
  1: i32 state
  2: list<CloudDocSearchFileInfoItem> fileInfos
  3: list<CloudDocSearchGroupInfoItem> groupInfos
  4: map<string,string> extraParam
}

struct FileEventItem {
  1: string fileName
  2: i64 fileVersion
  3: i64 fileSize
  4: i64 ext
  5: string parentId
  6: string parentName
  7: string oldName
  8: string userId
  9: string userName
  10: string commentContent
  11: map<string,string> extraParam
}

struct GroupEventItem {
  1: string userId
  2: string userName
  3: string avatar
  4: string role
  5: string oldRole
  6: string oldName
  7: map<string,string> extraParam
}

struct CloudEventItem {
  1: string id
  2: string groupId
  3: string groupName
  4: string fileId
  5: string commentId
  6: i32 type
  7: i64 dataVersion
  8: string operatorId
  9: string operatorName
  10: string operatorAvatar
  11: string operatorCorpId
  12: FileEventItem fileEventItem
  13: GroupEventItem groupEventItem
  14: i64 ctime
  15: i64 mtime
  16: string mappingFolderId
  17: bool bRead
  18: map<string,string> extraParam
}

struct CloudItemPathInfo {
  1: CloudItem itemInfo
  2: list<CloudItem> pathInfos
  3: string path
  4: string ids
  5: map<string,string> extraParam
}

struct CloudItemsCopyToArg {
  1: string userId
  2: string groupId
  3: string fileName
  4: list<string> fileIds
  5: map<string,string> extraParam
}

struct CloudItemsCopyToResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CloudItemsDuplicateArg {
  1: string userId
  2: string groupId
  3: list<string> fileIds
  4: string appType
  5: map<string,string> extraParam
}

struct CloudItemsDuplicateResult {
  1: i32 state
  2: string fileId
  3: map<string,string> extraParam
}

struct CloudItemsMoveToArg {
  1: string userId
  2: string groupId
  3: list<string> fileIds
  4: map<string,string> extraParam
}

struct CloudItemsMoveToResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CloudItemsSaveAsArg {
  1: string userId
  2: string groupId
  3: list<string> fileIds
  4: map<string,string> extraParam
}

struct CloudItemsSaveAsResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CommitRenameAfterSaveAsArg {
  1: string groupId
  2: string fileId
  3: string id
  4: string oldPath
  5: i32 dirty
  6: map<string,string> extraParam
}

struct CompanyGroupItem {
  1: string groupId
  2: string corpId
  3: string groupName
  4: string groupType
  5: bool isDefault
  6: string defaultType
  7: i64 ctime
  8: i64 mtime
  9: string companyName
  10: string creatorId
  11: string creatorName
  12: string creatorAvatar
  13: string creatorCorpId
  14: string userRole
  15: i32 memberCount
  16: list<string> groupNameHighLightList
  17: map<string,string> extraParam
}

struct CompanyGroupSearchArg {
  1: string companyId
  2: string searchName
  3: i32 offset
  4: i32 count
  5: i64 startTime
  6: i64 endTime
  7: map<string,string> extraParam
}

struct CompanyGroupSearchResult {
  1: i32 state
  2: i32 total
  3: list<CompanyGroupItem> groups
  4: map<string,string> extraParam
}

struct CompanyIntroPolicyItem {
  1: string policyId
  2: string policyName
  3: string position
  4: string url
  5: string title
  6: bool redPoint
  7: i64 startTime
  8: i64 endTime
  9: map<string,string> extraParam
}

struct CompanySpaceItem {
  1: string used
  2: string total
  3: string companyId
  4: map<string,string> extraParam
}

struct ConflictItem {
  1: string path
  2: i64 size
  3: i64 mtime
}

struct CopyArg {
  1: string userId
  2: string id
  3: string groupId
  4: string targetGroupId
  5: string targetParentId
  6: string sourceItemLocalPath
  7: string fileId
  8: map<string,string> extraParam
}

struct CopyFileToCloudCacheArg {
  1: string currentFilePath
  2: string cacheFilePath
  3: string taskId
  4: map<string,string> extraParam
}

struct CopyFileToCloudCacheResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct CopyResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: map<string,string> extraParam
}

struct CorpSpecialItem {
  1: string groupId
  2: string type
  3: string name
  4: string companyId
  5: map<string,string> extraParam
}

struct CreateAIRightSidePanelArg {
  1: string userId
  2: i32 hostWnd
  3: AIRightSidePanelInfo hostInfo
  4: map<string,string> extraParam
}

struct CreateAIRightSidePanelResult {
  1: i32 state
  2: i32 panelWnd
  3: i32 hiddenParentWnd
  4: map<string,string> extraParam
}

struct CreateFileArg {
  1: string userId
  2: string groupId
  3: string parentId
  4: string fileName
  5: string source
  6: bool createRoamingRecord
  7: bool fromHomePageCreate
  8: map<string,string> extraParam
}

struct CreateFileResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: ServerErrorInfo errInfo
  5: map<string,string> extraParam
}

struct CreateFolderArg {
  1: string userId
  2: string groupId
  3: string parentId
  4: string folderName
  5: bool bSilent
  6: map<string,string> extraParam
}

struct CreateFolderResult {
  1: i32 state
  2: string userId
  3: string groupId
  4: string parentId
  5: string folderId
  6: string folderName
  7: string creator
  8: string modifier
  9: i64 ctime
  10: i64 mtime
  11: ServerErrorInfo errInfo
  12: UserAcl userAcl
  13: string cachePath
  14: map<string,string> extraParam
}

struct CreateGenericWindowArg {
  1: string userId
  2: i32 hostHwnd
  3: i32 windowType
  4: map<string,string> windowArgs
  5: map<string,string> extraParam
}

struct CreateGenericWindowResult {
  1: i32 state
  2: i32 windowType
  3: i32 windowHwnd
  4: i32 hiddenParentHwnd
  5: map<string,string> extraParam
}

struct CreateGroupArg {
  1: string userId
  2: string groupName
  3: string corpId
  4: map<string,string> extraParam
}

struct CreateGroupResult {
  1: i32 state
  2: GroupInfo groupInfo
  3: string result
  4: map<string,string> extraParam
}

struct CreateHomepageArg {
  1: string userId
  2: i32 hostWnd
  3: map<string,string> extraParam
}

struct CreateHomepageResult {
  1: i32 state
  2: i32 homepageWnd
  3: i32 hiddenParentWnd
  4: map<string,string> extraParam
}

struct CreateShareFolderArg {
  1: string userId
  2: string folderId
  3: map<string,string> extraParam
}

struct CreateShareFolderResult {
  1: i32 state
  2: string linkGroupId
  3: string result
  4: string errMsg
  5: map<string,string> extraParam
}

struct PanelHostInfo {
  1: i32 type
  2: CloudItemId folderItem
  3: list<CloudItemId> selectedItems
  4: map<string,string> extraParam
}

struct CreateSidePanelArg {
  1: string userId
  2: i32 hostWnd
  3: PanelHostInfo hostInfo
  4: map<string,string> extraParam
}

struct CreateSidePanelResult {
  1: i32 state
  2: i32 panelWnd
  3: i32 hiddenParentWnd
  4: map<string,string> extraParam
}

struct CreateTeamArg {
  1: string userId
  2: map<string,string> extraParam
}

struct CreateTeamResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DeleteDeviceArg {
  1: string groupId
  2: string id
  3: string deviceId
  4: map<string,string> extraParam
}

struct DeleteDeviceResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DeleteMsgArg {
  1: i32 appId
  2: string messageId
  3: map<string,string> extraParam
}

struct DeleteMsgResult {
  1: i32 state
  2: i32 result
  3: map<string,string> extraParam
}

struct DelRoamingRecordArg {
  1: string fileId
  2: bool isDeleteFile
  3: map<string,string> extraParam
}

struct DelRoamingRecordResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DestroyAIRightSidePanelArg {
  1: i32 panelWnd
  2: map<string,string> extraParam
}

struct DestroyAIRightSidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DestroyHomepageArg {
  1: i32 homepageWnd
  2: map<string,string> extraParam
}

struct DestroyHomepageResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DestroySidePanelArg {
  1: i32 panelWnd
  2: map<string,string> extraParam
}

struct DestroySidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct FolioFuncRecommendArg {
  1: string position
  2: string userType
  3: string userId
  4: map<string,string> extraParam
}

struct FolioFuncRecommendResult {
  1: i32 state
  2: bool enable
  3: string picUrl
  4: i32 valid
  5: string name
  6: map<string,string> extraParam
}

struct FolioHotSearchArg {
  1: i32 appType
  2: map<string,string> extraParam
}

struct FolioHotSearchItem {
  1: string text
  2: map<string,string> extraParam
}

struct FolioHotSearchResult {
  1: i32 state
  2: i32 totalNum
  3: list<FolioHotSearchItem> itemList
  4: map<string,string> extraParam
}

struct FolioSearchArg {
  1: string searchText
  2: i32 appType
  3: i32 offset
  4: i32 limit
  5: string minPrice
  6: string maxPrice
  7: string orderProperty
  8: string orderDirection
  9: string userId
  10: map<string,string> extraParam
}

struct FolioSearchItem {
  1: string name
  2: string author
  3: i64 templatePlatform
  4: i64 templateType
  5: i64 templateApp
  6: i64 fileType
  7: string metaOrigin
  8: string publishTime
  9: i64 downloadNum
  10: i64 favourNum
  11: i64 likeNum
  12: i64 fileSize
  13: string thumbBigUrl
  14: string thumbMediumUrl
  15: string thumbSmallUrl
  16: i64 extId
  17: i64 price
  18: i64 sortNum
  19: i64 templateCategoryId
  20: i64 preview
  21: i64 page
  22: i64 id
  23: i64 isHadDiscount
  24: string folioAdvertiseText
  25: string folioAdvertisePictureUrl
  26: string folioAdvertiseLink
  27: string folioAdvertiseType
  28: string folioAdvertiseName
  29: bool folioAdvertiseOpenInPromebrowser
  30: map<string,string> extraParam
}

struct FolioSearchRecommendArg {
  1: string content
  2: i32 appType
  3: i32 offset
  4: i32 limit
  5: string type
  6: map<string,string> extraParam
}

struct FolioSearchResult {
  1: i32 state
  2: i32 totalNum
  3: list<FolioSearchItem> itemList
  4: bool hasFolioAdvertise
  5: string precisionPolicy
  6: map<string,string> extraParam
}

struct FolioSearchWidgetArg {
  1: string position
  2: string userType
  3: string userId
  4: map<string,string> extraParam
}

struct FolioWidgetItem {
  1: string pic_name
  2: string pic_text
  3: string pic_url
  4: string pic_link
  5: string type
  6: string app
  7: map<string,string> extraParam
}

struct FolioWidgetResult {
  1: i32 state
  2: string role
  3: list<FolioWidgetItem> itemList
  4: map<string,string> extraParam
}

struct UserAclV2 {
  1: string perm
}

struct DocteamUserV2 {
  1: string userId
  2: string deviceId
  3: string appId
  4: string clientType
  5: string clientChannel
  6: string clientVersion
  7: i64 joinTime
  8: string docteamStatus
  9: list<string> subscribeTypes
  10: string version
  11: string avatar
  12: string nickName
  13: string coEditStatus
  14: UserAclV2 userAcl
  15: bool isLinkCreator
  16: string lumoDeviceId
  17: string lumoDeviceName
  18: string roamingDeviceId
}

struct DownloadChildrenArg {
  1: string userId
  2: string groupId
  3: string id
  4: i32 depth
  5: map<string,string> extraParam
}

struct DownloadChildrenResult {
  1: i32 state
  2: CloudItem itemInfo
  3: map<string,string> extraParam
}

struct DownloadCloudFileArg {
  1: string fileid
  2: string groupid
  3: string pid
  4: string displayName
  5: string historyid
  6: string roamingid
  7: map<string,string> extraParam
}

struct DownloadCloudFileInfo {
  1: string fileId
  2: string taskId
  3: i64 size
  4: string mender
  5: string fileName
  6: i64 mtime
  7: string oldversionfile
  8: i32 errorCode
  9: string errorDes
  10: string errorStrCode
  11: string errorHelpInfo
  12: bool useCacheItem
  13: string fileCachePath
  14: map<string,string> extraParam
}

struct DownloadCloudFileResult {
  1: i32 state
  2: DownloadCloudFileInfo fileInfo
  3: map<string,string> extraParam
}

struct DownloadCloudFilesArg {
  1: string downloadPath
  2: list<string> fileIdList
  3: string historyId
  4: bool isDirPath
  5: map<string,string> extraParam
}

struct DownloadFileInfo {
  1: string fileId
  2: string historyId
  3: string downloadPath
  4: bool isDirPath
}

struct DownloadCloudFilesExArg {
  1: list<DownloadFileInfo> fileInfo
  3: map<string,string> extraParam
}

struct DownloadCloudFilesExResult {
  1: i32 state
  2: list<string> taskIdList
  3: map<string,string> extraParam
}

struct DownloadCloudFilesResult {
  1: i32 state
  2: list<string> taskIdList
  3: map<string,string> extraParam
}

struct DownloadDirArg {
  1: string groupId
  2: list<string> fileIdList
  3: string downloadPath
  4: map<string,string> extraParam
}

struct DownloadDirResult {
  1: i32 state
  2: CloudItem itemInfo
  3: map<string,string> extraParam
}

struct DownloadItemsArg {
  1: string userId
  2: string groupId
  3: string id
  4: list<CloudItem> subItems
  5: list<CloudItem> subFolderItems
  6: i32 reason
  7: bool newCreatedItemsWhenAutoSync
  8: list<CloudItem> downloadAllItems
  9: map<string,string> extraParam
}

struct DownloadItemsResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct FileRecordItem {
  1: string recordId
  2: i64 cTime
  3: i64 mTime
  4: string fileId
  5: string groupId
  6: string fileName
  7: i32 fileVersion
  8: string srcDeviceId
  9: string srcDeviceName
  10: i32 srcDeviceType
  11: i64 fileSize
  12: i64 fileMtime
  13: string ext
  14: i32 status
  15: string fileStatus
  16: map<string,string> extraParam
}

struct DownloadTransferRecordArg {
  1: list<FileRecordItem> fileRecordList
  2: string downloadPath
  3: map<string,string> extraParam
}

struct DownloadTransferRecordResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DragDropFavoriteItemArg {
  1: string dragFavId
  2: string dropPrevFavId
  3: string dropNextFavId
  4: string userId
  5: map<string,string> extraParam
}

struct DragDropFavoriteItemResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DragDropMouseArg {
  1: i32 nHomepageWnd
  2: i32 nType
  3: i32 nX
  4: i32 nY
  5: map<string,string> extraParam
}

struct DragDropMouseResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct DragDropQuickAccessItemArg {
  1: string dragQCId
  2: string dropPrevQCId
  3: string dropNextQCId
}

struct DragDropQuickAccessItemResult {
  1: i32 state
}

struct EditLinkMemberArg {
  1: string userId
  2: i32 type
  3: string sid
  4: list<string> idList
  5: string permission
  6: map<string,string> extraParam
}

struct EditLinkMemberResult {
  1: i32 state
  2: i32 type
  3: string sid
  4: list<string> idList
  5: string permission
  6: map<string,string> extraParam
}

struct EnableQuickAccessArg {
  1: string userId
}

struct EnableQuickAccessResult {
  1: i32 state
  2: i32 errorCode
  3: string errorDesc
}

struct ExitLinkArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: map<string,string> extraParam
}

struct ExitLinkBySidArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: string sid
  5: map<string,string> extraParam
}

struct ExitLinkBySidResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ExitLinkResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ExitLinkV3Arg {
  1: string fileId
  2: string groupId
  3: string linkSid
  4: map<string,string> extraParam
}

struct ExitLinkV3Result {
  1: i32 state
  2: bool bSuccess
  3: map<string,string> extraParam
}

struct FavoriteItem {
  1: string id
  2: string groupId
  3: string fileId
  4: i64 pos
  5: i64 ctime
  6: string gname
  7: string fname
  8: string ftype
  9: list<CloudItem> cloudItemInfos
  10: string corpId
  11: string linkGroupId
  12: string cloudPath
  13: string idPath
  14: map<string,string> extraParam
}

struct FavoriteItemInfo {
  1: CloudItem cloudItem
  2: FavoriteItem favoriteItem
  3: bool isShareByOthers
  4: map<string,string> extraParam
}

struct FeedBackAiCategoryArg {
  1: AISearchFilters aiServerCategory
  2: AISearchFilters userCheckedCategory
  3: string fileId
  4: map<string,string> extraParam
}

struct FeedBackAiCategoryResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct FeedbackArg {
  1: string strParam
  2: map<string,string> extraParam
}

struct FeedbackResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct FetchAICategoryArg {
  1: bool isReady
  2: list<string> groupids
  3: map<string,string> extraParam
}

struct FetchAICategoryResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct FileActionArgEntry {
  1: i32 action
  2: string fileId
  3: string groupId
  4: string parentId
  5: string taskId
  6: string fileName
  7: string oldGroupId
  8: string oldParentId
  9: string id
  10: string originType
  11: string linkGroupId
  12: map<string,string> extraParam
}

struct FileCategoryDetails {
  1: string groupid
  2: string fileid
  3: list<string> dimension_category
  4: map<string,string> extraParam
}

struct FileStateArg {
  1: string userId
  2: string fileId
  3: string taskId
  4: map<string,string> extraParam
}

struct FileStateResult {
  1: i32 state
  2: string userId
  3: i32 progress
  4: i32 fileState
  5: string cachePath
  6: map<string,string> extraParam
}

struct FileThumbnailEntry {
  1: string groupId
  2: string fileId
  3: string thumbnailPath
  4: i32 state
  5: map<string,string> extraParam
}

struct GetAIPanelSwitchArg {
  1: bool flag
  2: map<string,string> extraParam
}

struct GetAIPanelSwitchResult {
  1: i32 state
  2: bool flag
  3: map<string,string> extraParam
}

struct GetCloudFileCachePathArg {
  1: string userId
  2: string cloudPath
  3: map<string,string> extraParam
}

struct GetCloudFileCachePathResult {
  1: i32 state
  2: string localPath
  3: map<string,string> extraParam
}

struct GetCloudFileInfoArg {
  1: string groudId
  2: string fileId
  3: bool cacheOnly
  4: bool subFileInfo
  5: map<string,string> extraParam
}

struct GetCloudFileInfoResult {
  1: i32 state
  2: CloudItem itemInfo
  3: string path
  4: string ids
  5: map<string,string> extraParam
}

struct GetCloudNodeFileCountArg {
  1: string userId
  2: i32 nodeType
  3: map<string,string> extraParam
}

struct GetCloudNodeFileCountResult {
  1: i32 state
  2: i32 nodeType
  3: i64 count
  4: map<string,string> extraParam
}

struct GetCompanyGroupInfoListArg {
  1: string userId
  2: string companyId
  3: list<string> uids
  4: map<string,string> extraParam
}

struct GetCompanyGroupInfoListResult {
  1: i32 state
  2: list<GroupInfo> groupInfos
  3: CompanyItem company
  4: string companyId
  5: map<string,string> extraParam
}

struct GetCompanyInfoListArg {
  1: string userId
  2: bool needSync
  3: bool forceUpdate
  4: list<string> uids
  5: map<string,string> extraParam
}

struct GetCompanyInfoListResult {
  1: i32 state
  2: list<CompanyItem> itemInfos
  3: map<string,string> extraParam
}

struct GetCompanyIntroPolicyArg {
  1: string userId
  2: list<string> positions
  3: map<string,string> extraParam
}

struct GetCompanyIntroPolicyResult {
  1: i32 state
  2: list<CompanyIntroPolicyItem> items
  3: map<string,string> extraParam
}

struct GetCompanyNotifyCountsArg {
  1: string companyId
  2: map<string,string> extraParam
}

struct GetCompanyNotifyCountsResult {
  1: i32 state
  2: i32 counts
  3: map<string,string> extraParam
}

struct GetCompanySpaceListArg {
  1: map<string,string> extraParam
}

struct GetCompanySpaceListResult {
  1: i32 state
  2: list<CompanySpaceItem> spaceInfos
  3: map<string,string> extraParam
}

struct GetContentSearchStatusArg {
}

struct GetContentSearchStatusResult {
  1: i32 state
  2: i32 status
  3: map<string,string> extraParam
}

struct GetCorpSpecialArg {
  1: string companyId
  2: map<string,string> extraParam
}

struct GetCorpSpecialResult {
  1: i32 state
  2: list<CorpSpecialItem> groups
  3: map<string,string> extraParam
}

struct GetCurrentDefaultRoamingBoxArg {
  1: map<string,string> extraParam
}

struct GetCurrentDefaultRoamingBoxResult {
  1: i32 state
  2: string groupId
  3: map<string,string> extraParam
}

struct GetFavoriteInfoListArg {
  1: string userId
  2: i32 filter
  3: bool needSync
  4: map<string,string> extraParam
}

struct GetFavoriteInfoListResult {
  1: i32 state
  2: string userId
  3: list<FavoriteItemInfo> itemInfos
  4: BatchParentItemsInfo parentInfos
  5: map<string,string> extraParam
}

struct GetFavoriteListArg {
  1: string userId
  2: i32 filter
  3: bool needSync
  4: map<string,string> extraParam
}

struct GetFavoriteListResult {
  1: i32 state
  2: string userId
  3: list<FavoriteItem> itemInfos
  4: map<string,string> extraParam
}

struct GetFileIdByFilePathArg {
  1: string currentFilePath
  2: map<string,string> extraParam
}

struct GetFileIdByFilePathResult {
  1: i32 state
  2: string fileId
  3: map<string,string> extraParam
}

struct GetFileRecentEventsArg {
  1: string userId
  2: string fileId
  3: string groupId
  4: i32 count
  5: map<string,string> extraParam
}

struct GetFileRecentEventsResult {
  1: i32 state
  2: list<CloudEventItem> eventItems
  3: string groupId
  4: string fileId
  5: map<string,string> extraParam
}

struct GetFileThumbnailArgEntry {
  1: string groupId
  2: string fileId
  3: i32 width
  4: i32 height
  5: string savePath
  6: map<string,string> extraParam
}

struct GetFileThumbnailArg {
  1: string userId
  2: list<GetFileThumbnailArgEntry> fileItems
  3: map<string,string> extraParam
}

struct GetFileThumbnailResult {
  1: i32 state
  2: list<FileThumbnailEntry> thumbnailList
  3: map<string,string> extraParam
}

struct GetFolderEventsArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: map<string,string> extraParam
}

struct GetFolderEventsResult {
  1: i32 state
  2: list<CloudEventItem> folderEventItems
  3: map<string,string> extraParam
}

struct GetFreeLimitPrivilegeArg {
  1: i32 privilegeType
  2: map<string,string> extraParam
}

struct GetGroupEventsArg {
  1: string userId
  2: string groupId
  3: i64 count
  4: string originEventId
  5: map<string,string> extraParam
}

struct GetGroupEventsResult {
  1: i32 state
  2: string groupId
  3: bool bInitDone
  4: list<CloudEventItem> groupEventItems
  5: map<string,string> extraParam
}

struct GetGroupInfoArg {
  1: string userId
  2: string groupId
  3: i64 nRecentMemCount
  4: map<string,string> extraParam
}

struct GetGroupInfoListArg {
  1: string userId
  2: i32 strategy
  3: map<string,string> extraParam
}

struct GetGroupInfoListResult {
  1: i32 state
  2: string userId
  3: list<GroupInfo> groupInfos
  4: map<string,string> extraParam
}

struct GetGroupInfoResult {
  1: i32 state
  2: GroupInfo groupInfo
  3: list<GroupMemberInfo> userInfos
  4: map<string,string> extraParam
}

struct GetGroupInviteLinkArg {
  1: string userId
  2: string groupId
  3: map<string,string> extraParam
}

struct GetGroupInviteLinkResult {
  1: i32 state
  2: string userId
  3: string groupId
  4: string invite_url
  5: string plain_text
  6: string mtime
  7: string title
  8: string groupName
  9: string key
  10: string result
  11: string errMsg
  12: map<string,string> extraParam
}

struct GetGroupMembersArg {
  1: string userId
  2: string groupId
  3: map<string,string> extraParam
}

struct GetGroupMembersResult {
  1: i32 state
  2: list<GroupMemberInfo> memberInfos
  3: map<string,string> extraParam
}

struct GetGroupNoticeArg {
  1: string userId
  2: string groupId
  3: map<string,string> extraParam
}

struct GetGroupNoticeResult {
  1: i32 state
  2: string groupId
  3: string content
  4: i64 mtime
  5: map<string,string> extraParam
}

struct GetGroupUnreadEventsInfoArg {
  1: string userId
  2: bool fileEventOnly
  3: map<string,string> extraParam
}

struct GetGroupUnreadEventsInfoResult {
  1: i32 state
  2: bool bInitDone
  3: map<string,i64> unreadCount
  4: map<string,CloudEventItem> lastedUnreadEvents
  5: map<string,string> extraParam
}

struct GetHistoryArg {
  1: string userId
  2: string fileId
  3: string groupId
  4: map<string,string> extraParam
}

struct HistoryItem {
  1: string groupId
  2: string fileId
  3: string historyId
  4: i64 size
  5: string name
  6: string modifier
  7: i64 mtime
  8: map<string,string> extraParam
}

struct GetHistoryResult {
  1: i32 state
  2: list<HistoryItem> historyInfos
  3: map<string,string> extraParam
}

struct GetInfoArg {
  1: string userId
  2: string groupId
  3: string id
  4: string taskId
  5: map<string,string> extraParam
}

struct GetInfoListArg {
  1: string userId
  2: string groupId
  3: string parentId
  4: i32 filter
  5: i32 depth
  6: bool needSync
  7: bool usedV5
  8: map<string,string> extraParam
}

struct GetInfoListResult {
  1: i32 state
  2: string userId
  3: list<CloudItem> itemInfos
  4: list<CloudItem> virtualItemInfos
  5: map<string,string> extraParam
}

struct GetInfoResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: map<string,string> extraParam
}

struct GetItemInfoListV5Arg {
  1: string userId
  2: string groupId
  3: string parentId
  4: i32 filter
  5: bool needSync
  6: bool needParentPath
  7: map<string,string> extraParam
}

struct ItemPathInfoV5 {
  1: list<CloudItem> parentItemInfos
  2: GroupInfo parentGroupInfo
  3: CompanyItem company
  4: bool isShareByOthers
  5: map<string,string> extraParam
  6: list<GroupInfo> parentGroupInfoList
}

struct GetItemInfoListV5Result {
  1: i32 state
  2: string userId
  3: list<CloudItem> itemInfos
  4: ItemPathInfoV5 pathInfo
  5: bool parentPathValid
  6: map<string,string> extraParam
}

struct GetLinkCompanyListArg {
  1: string userId
  2: map<string,string> extraParam
}

struct LinkCompanyInfo {
  1: string id
  2: string name
  3: string phone
  4: string wire_phone
  5: string email
  6: string province
  7: string city
  8: map<string,string> extraParam
}

struct GetLinkCompanyListResult {
  1: i32 state
  2: list<LinkCompanyInfo> linkCompanyInfos
  3: map<string,string> extraParam
}

struct GetLinkConvertInfoArg {
  1: string userId
  2: string fileId
  3: map<string,string> extraParam
}

struct GetLinkConvertInfoResult {
  1: i32 state
  2: string fileId
  3: string linkId
  4: map<string,string> extraParam
}

struct GetLinkInfoArg {
  1: string userId
  2: string fileId
  3: map<string,string> extraParam
}

struct GetLinkInfoListArg {
  1: string userId
  2: i32 linkType
  3: bool needSync
  4: map<string,string> extraParam
}

struct MyLinkInfo {
  1: CloudItem item
  2: string ids
  3: string path
  4: map<string,string> extraParam
}

struct GetLinkInfoListResult {
  1: i32 state
  2: i32 type
  3: list<LinkInfo> linkInfos
  4: list<MyLinkInfo> myLinkInfos
  5: map<string,string> extraParam
}

struct LinkMemberInfo {
  1: string userId
  2: string userName
  3: string avatar
  4: string corpId
  5: string account
  6: string email
  7: string phone
  8: string permission
  9: string status
  10: map<string,string> extraParam
}

struct LinkDetail {
  1: string sid
  2: string fileId
  3: string userId
  4: i64 ctime
  5: string chkcode
  6: i32 clicked
  7: string groupId
  8: string status
  9: string ranges
  10: string permission
  11: i64 expirePeriod
  12: i64 expireTime
  13: string createId
  14: string createName
  15: string createAvatar
  16: string createCorpId
  17: string groupName
  18: string groupType
  19: string fileName
  20: i64 fileSize
  21: string fileSha
  22: string userPermission
  23: string apiResult
  24: string apiResultMsg
  25: map<string,string> extraParam
}

struct GetLinkInfoResult {
  1: i32 state
  2: string fileId
  3: list<LinkMemberInfo> linkMemberInfos
  4: LinkDetail linkInfo
  5: map<string,string> extraParam
}

struct GetMsgListArg {
  1: i32 appId
  2: i32 category
  3: i32 terminal
  4: i32 pageNum
  5: i32 pageSize
  6: bool onlyUnreadMsg
  7: map<string,string> extraParam
}

struct MessageCenterInfo {
  1: string imgPath
  2: map<string,string> extraParam
}

struct MessageDataInfo {
  1: string btnType
  2: string icon
  3: string categoryLabel
  4: string showType
  5: string welcomeMsg
  6: string btnText
  7: string iconUrl
  8: string btnLink
  9: MessageCenterInfo msgCenterInfo
  10: map<string,string> extraParam
}

struct MessageButtonInfo {
  1: string name
  2: string link
  3: map<string,string> extraParam
}

struct MessageContent {
  1: string userName
  2: string userAvatar
  3: string title
  4: string msgText
  5: string info
  6: string eventType
  7: string imgPath
  8: string imgLink
  9: string groudId
  10: string fileId
  11: i64 fver
  12: string msgType
  13: string version
  14: string bubble
  15: MessageDataInfo dataInfo
  16: list<MessageButtonInfo> buttonList
  17: map<string,string> extraParam
}

struct MessageItem {
  1: string id
  2: string ext
  3: string ctime
  4: string category
  5: i32 bread
  6: i32 bussType
  7: MessageContent msgContent
  8: map<string,string> extraParam
}

struct GetMsgListResult {
  1: i32 state
  2: i32 totalCount
  3: list<MessageItem> msgItemList
  4: map<string,string> extraParam
}

struct GetMyCompanyDocItemsArg {
  1: string userId
  2: string companyId
  3: map<string,string> extraParam
}

struct GetMyCompanyDocItemsResult {
  1: i32 state
  2: list<CloudItem> cloudItems
  3: CompanyItem company
  4: GroupInfo myCompanyDoc
  5: GroupInfo autobackGroup
  6: map<string,string> extraParam
}

struct GetOfficialDocArg {
  1: string fileName
  2: string sourceName
  3: map<string,string> extraParam
}

struct GetOfficialDocListArg {
  1: map<string,string> extraParam
}

struct OfficialDocResult {
  1: string fileName
  2: string fileUrl
  3: string imagePath
  4: map<string,string> extraParam
}

struct GetOfficialDocListResult {
  1: i32 state
  2: list<OfficialDocResult> docList
  3: map<string,string> extraParam
}

struct GetOfficialDocResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct GetQuickAccessListArg {
  1: string userId
  2: bool bFromCache
}

struct StartPageQuickAccessItem {
  1: string id
  2: string groupId
  3: string fileId
  4: i32 pos
  5: i64 mtime
  6: string title
  7: string ftype
  8: string url
  9: bool star
  10: string lastUserId
  11: string lastUserName
  12: string cloudPath
  13: string idPath
  14: string cachePath
  15: i64 cacheFver
  16: i32 fileState
  17: bool exist
  18: string cloudId
  19: string cloudParentId
  20: string ownerGroupId
}

struct GetQuickAccessListResult {
  1: i32 state
  2: bool fromCache
  3: list<StartPageQuickAccessItem> itemInfos
}

struct GetRecentFileInfoListArg {
  1: i32 count
  2: i32 offset
  3: bool needSync
  4: bool useV5DirStruct
  5: map<string,string> extraParam
}

struct RecentFileItemInfo {
  1: CloudItem cloudItem
  2: RecentFileItem fileInfo
  3: map<string,CloudItem> mapParentItem
  4: map<string,GroupInfo> mapGroupItem
  5: bool isShareByOthers
  6: map<string,string> extraParam
}

struct GetRecentFileInfoListResult {
  1: i32 state
  2: list<RecentFileItemInfo> fileInfos
  3: BatchParentItemsInfo parentInfos
  4: map<string,string> extraParam
}

struct GetRecentFilesArg {
  1: i32 count
  2: i32 offset
  3: bool needSync
  4: string callFrom
  5: bool autoOffset
  6: bool force
  7: map<string,string> extraParam
}

struct GetRecentFilesResult {
  1: i32 state
  2: list<RecentFileItem> fileInfos
  3: string callFrom
  4: bool autoOffset
  5: bool isFetchEnded
  6: map<string,string> extraParam
}

struct GetRecycleBinListArg {
  1: string userId
  2: map<string,string> extraParam
}

struct GetRecycleBinListResult {
  1: i32 state
  2: string userId
  3: list<CloudItem> itemInfos
  4: map<string,string> extraParam
}

struct GetRecycleBinListV5Arg {
  1: string userId
  2: string corpId
  3: i32 offset
  4: i32 count
  5: bool autoOffset
  6: map<string,string> extraParam
}

struct RecycleBinItem {
  1: string groupId
  2: string parentId
  3: string id
  4: i64 size
  5: string name
  6: string type
  7: string creator
  8: string modifier
  9: string operatorName
  10: string operatorId
  11: string operatorCorpId
  12: string groupName
  13: i64 ctime
  14: i64 mtime
  15: bool deleted
  16: string fileId
  17: string sha1
  18: i64 cloudVersion
  19: string companyId
  20: i32 remainingDays
  21: i32 store
  22: string storeId
  23: map<string,string> extraParam
}

struct GetRecycleBinListV5Result {
  1: i32 state
  2: bool bFetchEnd
  3: string userId
  4: string corpId
  5: i32 expireDays
  6: list<RecycleBinItem> itemInfos
  7: map<string,string> extraParam
}

struct GetRoamingGroupArg {
  1: map<string,string> extraParam
}

struct RoamingGroupItem {
  1: string groupId
  2: string type
  3: string companyId
  4: string companyName
  5: bool selected
  6: map<string,string> extraParam
}

struct GetRoamingGroupResult {
  1: i32 state
  2: list<RoamingGroupItem> groups
  3: map<string,string> extraParam
}

struct GetSpreadControlArg {
  1: list<string> companyIdList
  2: map<string,string> extraParam
}

struct SpreadControlItem {
  1: string companyId
  2: bool fileRestrict
  3: map<string,string> extraParam
}

struct GetSpreadControlResult {
  1: i32 state
  2: list<SpreadControlItem> ctrls
  3: map<string,string> extraParam
}

struct StarItem {
  1: string id
  2: string groupId
  3: string fileId
  4: string userId
  5: i64 ctime
  6: string source
  7: string desc
  8: string tagId
  9: string tagUsrId
  10: i64 tagCtime
  11: string tagType
  12: string tagName
  13: string fileFileId
  14: string fileGroupId
  15: string fileParent
  16: string fileFname
  17: string fileFsize
  18: string fileFtype
  19: string fileMtime
  20: string filePath
  21: string linkSid
  22: string linkCreator
  23: string groupGroupId
  24: string groupType
  25: string groupName
  26: string groupMtime
  27: string descName
  28: bool itemInTeams
  29: bool itemInApply
  30: map<string,string> extraParam
}

struct StarItemInfo {
  1: CloudItem cloudItem
  2: StarItem starItem
  3: bool isShareByOthers
  4: map<string,string> extraParam
}

struct GetStarInfoListResult {
  1: i32 state
  2: string userId
  3: list<StarItemInfo> itemInfos
  4: BatchParentItemsInfo parentInfos
  5: map<string,string> extraParam
}

struct GetStarListArg {
  1: string userId
  2: string groupId
  3: string id
  4: i32 filter
  5: i32 depth
  6: bool needSync
  7: map<string,string> extraParam
}

struct GetStarListResult {
  1: i32 state
  2: string userId
  3: list<StarItem> itemInfos
  4: list<CloudItem> cloudItemInfos
  5: list<CloudItemPathInfo> cloudItemPathInfo
  6: map<string,string> extraParam
}

struct GetStorageInfoArg {
  1: string userId
  2: map<string,string> extraParam
}

struct GetStorageInfoResult {
  1: i32 state
  2: string userId
  3: i64 usedSize
  4: i64 totalSize
  5: map<string,string> extraParam
}

struct GetSyncFolderInfoArg {
  1: string targetPath
  2: bool bFirstLevelData
  3: map<string,string> extraParam
}

struct GetSyncFolderInfoResult {
  1: i32 state
  2: list<string> localSyncFolerPaths
  3: list<CloudItem> cacheSyncFolerPaths
  4: list<CloudItem> itemInfos
  5: map<string,CloudItem> parentMap
  6: map<string,GroupInfo> groupMap
  7: map<string,string> extraParam
  8: list<string> linkFolderPaths
}

struct GetSyncFolderItemsResult {
  1: i32 state
  2: list<string> localSyncFolerPaths
  3: list<CloudItem> cacheSyncFolderItemList
  4: map<string,CloudItem> parentMap
  5: map<string,GroupInfo> groupMap
  6: map<string,string> extraParam
}

struct GetSyncSubFolderInfoArg {
  1: string targetPath
  2: bool bFirstLevelData
  3: map<string,string> extraParam
}

struct GetSyncSubFolderInfoResult {
  1: i32 state
  2: string targetPath
  3: list<CloudItem> itemInfos
  4: map<string,CloudItem> parentMap
  5: map<string,GroupInfo> groupMap
  6: bool bFirstLevelData
  7: map<string,string> extraParam
  8: list<string> linkFolderPaths
}

struct GetTransferUnreadCountArg {
  1: map<string,string> extraParam
}

struct GetTransferUnreadCountResult {
  1: i32 state
  2: map<string,string> extraParam
  3: i32 count
}

struct GetUnreadMsgCountArg {
  1: i32 appId
  2: i32 terminal
  3: i32 category
  4: map<string,string> extraParam
}

struct UnreadMsgInfo {
  1: i32 count
  2: i32 category
  3: map<string,string> extraParam
}

struct GetUnreadMsgCountResult {
  1: i32 state
  2: i32 totalCount
  3: i32 result
  4: list<UnreadMsgInfo> unreadMsgInfoList
  5: map<string,string> extraParam
}

struct GetUnreadMsgListArg {
  1: i32 appId
  2: i32 terminal
  3: i32 size
  4: map<string,string> extraParam
}

struct GetUnreadMsgListResult {
  1: i32 state
  2: i32 totalCount
  3: i32 result
  4: list<MessageItem> msgItemList
  5: map<string,string> extraParam
}

struct GetUnreadNewMsgListArg {
  1: i32 appId
  2: i32 terminal
  3: i32 size
  4: map<string,string> extraParam
}

struct MessageCommonTemplate {
  1: string title
  2: string categoryIcon
  3: string subTitle
  4: string content
  5: string imgUrl
  6: string imgLink
  7: string btnText
  8: string btnType
  9: string btnLink
  10: map<string,string> extraParam
}

struct MessageTemplateInfo {
  1: MessageCommonTemplate common
  2: string center
  3: string bubble
  4: string tray
  5: string msgtray
  6: string startpage
  7: map<string,string> extraParam
}

struct NewMessageContent {
  1: MessageTemplateInfo templateInfo
  2: string m_id
  3: string appId
  4: i64 effectTime
  5: i32 keepTime
  6: map<string,string> extraParam
}

struct NewMessageItem {
  1: string id
  2: string ext
  3: string ctime
  4: string category
  5: i32 bread
  6: i32 bussType
  7: NewMessageContent msgContent
  8: map<string,string> extraParam
}

struct GetUnreadNewMsgListResult {
  1: i32 state
  2: i32 totalCount
  3: i32 result
  4: list<NewMessageItem> msgItemList
  5: map<string,string> extraParam
}

struct GetUserGuideStatusArg {
  1: string key
  2: map<string,string> extraParam
}

struct GetUserGuideStatusResult {
  1: i32 state
  2: bool status
  3: map<string,string> extraParam
}

struct GetUserIdResult {
  1: i32 state
  2: string userId
  3: map<string,string> extraParam
}

struct GetUsersArg {
  1: string email
  2: i64 phone
  3: map<string,string> extraParam
}

struct GetUsersResult {
  1: i32 state
  2: string avatar
  3: string corpId
  4: string id
  5: string name
  6: string status
  7: string account
  8: map<string,string> extraParam
}

struct GetUserThumbnailArgEntry {
  1: string url
  2: string userId
  3: i32 size
  4: bool checkCache
  5: string savePath
  6: map<string,string> extraParam
}

struct GetUserThumbnailArg {
  1: string userId
  2: list<GetUserThumbnailArgEntry> thumbnailItems
  3: map<string,string> extraParam
}

struct UserThumbnailEntry {
  1: string url
  2: string userId
  3: string thumbnailPath
  4: i32 state
  5: map<string,string> extraParam
}

struct GetUserThumbnailResult {
  1: i32 state
  2: list<UserThumbnailEntry> thumbnailList
  3: map<string,string> extraParam
}

struct GetVersionArg {
  1: string userId
  2: map<string,string> extraParam
}

struct GetVersionResult {
  1: i32 state
  2: string dataStructVer
  3: string mainViewStructVer
  4: map<string,string> functionsVerMap
  5: map<string,string> extraParam
}

struct GetWorkspaceStatusArg {
  1: list<string> statusList
  2: string fields
  3: map<string,string> extraParam
}

struct WorkspaceCompanyFileIconItem {
  1: bool isDefault
  2: i32 openness
  3: i32 saturation
  4: string defaultUrl
  5: map<string,string> extraParam
}

struct WorkspaceCompanyItem {
  1: string id
  2: string logo
  3: string name
  4: i32 roleId
  5: WorkspaceCompanyFileIconItem fileIcon
  6: map<string,string> extraParam
}

struct GetWorkspaceStatusResult {
  1: i32 state
  2: bool isNewView
  3: string workspace
  4: i64 activityTime
  5: list<WorkspaceCompanyItem> companies
  6: map<string,string> extraParam
}

struct GroupData {
  1: string fname
  2: i64 fver
  3: i64 fsize
  4: i64 ext
  5: string parentid
  6: string parent_name
  7: string old_name
  8: string comment_content
  9: string userid
  10: string user_name
  11: string user_avatar
  12: string role
  13: string old_role
  14: string old_gname
  15: map<string,string> extraParam
}

struct GroupOperator {
  1: string id
  2: string name
  3: string avatar
  4: string corpid
  5: map<string,string> extraParam
}

struct LogoutArg {
  1: string userId
  2: map<string,string> extraParam
}

struct LogoutResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct MakeLinkV3Arg {
  1: string filePath
  2: string fileId
  3: bool bReset
  4: map<string,string> extraParam
}

struct MakeLinkV3Result {
  1: i32 state
  2: string fileId
  3: string linkSid
  4: map<string,string> extraParam
}

struct MarkMsgReadArg {
  1: i32 appId
  2: string messageId
  3: map<string,string> extraParam
}

struct MarkMsgReadResult {
  1: i32 state
  2: i32 result
  3: map<string,string> extraParam
}

struct ModifyFileCategoryArg {
  1: FileCategoryDetails detls
  2: map<string,string> extraParam
}

struct ModifyFileCategoryResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct MoveArg {
  1: string userId
  2: string id
  3: string groupId
  4: string parentId
  5: string targetGroupId
  6: string targetParentId
  7: string sourceItemLocalPath
  8: map<string,string> extraParam
}

struct MoveResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: ServerErrorInfo errInfo
  5: string oldId
  6: string oldGroupId
  7: map<string,string> extraParam
}

struct NameRecommendArg {
  1: string groupId
  2: string parentId
  3: string fileName
  4: map<string,string> extraParam
}

struct NameRecommendResult {
  1: i32 state
  2: string result
  3: string recommendName
  4: map<string,string> extraParam
}

struct NotifyActionArg {
  1: i32 type
  2: map<string,string> extraParam
}

struct NotifyActionsMapArg {
  1: i32 nActionType
  2: map<string,string> mapArgs
  3: map<string,string> extraParam
}

struct NotifyAISearchFiltersArg {
  1: AISearchFilters searchfilters
  2: string triggerid
  3: bool triggeraitag
  4: map<string,string> extraParam
}

struct NotifyAISearchFiltersResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct NotifyAllClientActionsMapResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct NotifyAutoUpdateFoldersChangedArg {
  1: list<CloudItem> oldItems
  2: list<CloudItem> currItems
  3: map<string,string> extraParam
}

struct NotifyAutoUpdateStatusArg {
  1: i32 status
  2: map<string,string> extraParam
}

struct NotifyBroswerFolderArg {
  1: string groupId
  2: string fileId
  3: string folderName
  4: map<string,string> extraParam
}

struct NotifyClearMsgNotificationArg {
  1: list<string> msgCategories
  2: map<string,string> extraParam
}

struct NotifyCloseOfficialTemplateWindowArg {
  1: i32 activeHwnd
  2: map<string,string> extraParam
}

struct NotifyCloseSyncLocalFolderWindowArg {
  1: i32 activeHwnd
  2: i32 triggerSourceHwnd
  3: map<string,string> extraParam
}

struct NotifyCloudEventsArg {
  1: list<CloudEventItem> eventItems
  2: map<string,string> extraParam
}

struct NotifyCompanyCreationArg {
  1: list<CompanyItem> companyList
  2: map<string,string> extraParam
}

struct NotifyCompanyDeletionArg {
  1: list<string> companyIdList
  2: map<string,string> extraParam
}

struct NotifyCompanyPropertyArg {
  1: list<CompanyItem> companyList
  2: map<string,string> extraParam
}

struct NotifyDocCollaborativeStatusArg {
  1: string fileId
  2: i32 collaborativeStatus
  3: i32 collaboratorNum
  4: map<string,string> extraParam
}

struct NotifyDocTeamV2Arg {
  1: string eventType
  2: string fileId
  3: string result
  4: string json
  5: DocteamUserV2 user
  6: i64 sum
  7: list<DocteamUserV2> members
  8: string operationDesc
  9: map<string,string> extraMap
  10: list<string> extraList
}

struct NotifyDrag2ImInfoArg {
  1: string filePath
  2: i32 hwnd
  3: i32 operation
  4: string linkPath
  5: map<string,string> extraParam
}

struct NotifyDrag2ImShareArg {
  1: string filePath
  2: i32 hwnd
  3: i32 operation
  4: string linkPath
  5: map<string,string> extraParam
}

struct NotifyDrag2ImShareResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct NotifyExitArg {
  1: string callFrom
  2: bool exitLumoInstance
  3: map<string,string> extraParam
}

struct NotifyExitResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct NotifyFileActionArg {
  1: i32 action
  2: string fileId
  3: string groupId
  4: string parentId
  5: string taskId
  6: string fileName
  7: string oldGroupId
  8: string oldParentId
  9: optional list<FileActionArgEntry> entries
  10: list<FileActionArgEntry> myLinkEntries
  11: list<FileActionArgEntry> linkEntries
  12: list<FileActionArgEntry> starList
  13: map<string,string> extraParam
}

struct NotifyFileBatchActionArg {
  1: i32 action
  2: list<string> fileIds
  3: string groupId
  4: string parentId
  5: map<string,string> extraParam
}

struct NotifyFileCreationArg {
  1: CloudItem itemInfo
  2: optional list<CloudItem> itemList
  3: optional list<CloudItem> sharedByOthersItemList
  4: list<CloudItem> linkFolderList
  5: list<MyLinkInfo> myLinkInfoList
  6: list<LinkInfo> linkInfoList
  7: list<CloudItemPathInfo> starList
  8: map<string,string> extraParam
}

struct NotifyFileIndexRecordsChangedArg {
  1: i32 state
  2: i32 type
  3: bool needSyncToFetchChange
  4: map<string,string> extraParam
}

struct NotifyFilePropertyArg {
  1: list<CloudItem> itemList
  2: list<CloudItem> myLinkInfoList
  3: list<LinkInfo> linkInfoList
  4: map<string,string> extraParam
}

struct NotifyFileStateListArg {
  1: list<CloudItem> fileStateArgs
  2: map<string,string> extraParam
}

struct NotifyFileThumbnailArg {
  1: list<FileThumbnailEntry> thumbnailList
  2: map<string,string> extraParam
}

struct NotifyFileTransferArg {
  1: string id
  2: string parentId
  3: string groupId
  4: string originGroupId
  5: map<string,string> extraParam
}

struct NotifyGetCloudEventsPathArg {
  1: list<string> groupIds
  2: map<string,string> extraParam
}

struct NotifyGroupCreationArg {
  1: GroupInfo groupInfo
  2: map<string,string> extraParam
}

struct NotifyGroupDeletionArg {
  1: list<string> groupIdList
  2: map<string,string> extraParam
}

struct NotifyGroupPropertyArg {
  1: list<GroupInfo> groupList
  2: map<string,string> extraParam
}

struct NotifyItemReminderChangedArg {
  1: list<ReminderItemInfo> reminderItemList
  2: map<string,string> extraParam
}

struct NotifyLoadFavoriteArg {
  1: string userId
  2: list<FavoriteItem> itemInfos
  3: map<string,string> extraParam
}

struct NotifyMsgListArg {
  1: i32 msgType
  2: list<string> strMsgList
  3: map<string,string> extraParam
}

struct NotifyMsgStatusChangedArg {
  1: i32 msgStatus
  2: list<MsgStatusChangedItem> msgItemList
  3: map<string,string> extraParam
}

struct NotifyQuitSmartSelectResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct NotifyRecentFileChangeArg {
  1: list<RecentFileItem> fileList
  2: string callFrom
  3: map<string,string> extraParam
}

struct NotifyRecentFileFetchArg {
  1: list<RecentFileItem> fileList
  2: string callFrom
  3: bool isFetchEnded
  4: map<string,string> extraParam
}

struct NotifyRecentFilesArg {
  1: string userId
  2: list<CloudItem> itemList
  3: map<string,CloudItem> parentMap
  4: map<string,GroupInfo> groupMap
  5: list<CloudItem> sharedByOthersItemList
  6: map<string,string> extraParam
}

struct NotifyRecentFilesResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct NotifyRecommendUpdateArg {
  1: string userData
  2: map<string,string> extraParam
}

struct NotifyRecycleBinArg {
  1: list<CloudItem> addItemList
  2: list<FileActionArgEntry> deleteItemList
  3: map<string,string> extraParam
}

struct NotifyShareDiscussionArg {
  1: i32 nActionType
  2: map<string,string> mapArgs
  3: map<string,string> extraParam
}

struct NotifyShareDiscussionResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct NotifyShowSettingsArg {
  1: string callFrom
  2: optional string targetTab
  3: map<string,string> extraParam
}

struct NotifyShowSettingsResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct NotifyShowtTransDeatilArg {
  1: string callFrom
  2: map<string,string> extraParam
}

struct NotifyShowtTransDeatilResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct NotifySmartSyncArg {
  1: bool smartSync
  2: map<string,string> extraParam
}

struct NotifySmartSyncFolderAutoCreatedArg {
  1: bool folderCreated
  2: map<string,string> extraParam
}

struct NotifySmartUpdateArg {
  1: bool smartUpdate
  2: map<string,string> extraParam
}

struct NotifyUserGenericInfoArg {
  1: map<string,string> userGenericInfo
  2: map<string,string> extraParam
}

struct NotifyUserInfoArg {
  1: map<string,string> userInfo
  2: map<string,string> extraParam
}

struct NotifyUserThumbnailArg {
  1: list<UserThumbnailEntry> thumbnailList
  2: map<string,string> extraParam
}

struct OpenCloudDirArg {
  1: string userId
  2: CloudItem itemInfo
  3: map<string,CloudItem> parentMap
  4: GroupInfo group
  5: bool openGroup
  6: bool sharedByOthers
  7: CloudItem subItemInfo
  8: bool isUnderBackupVirtualItem
  9: CloudItem backupVirtualItem
  10: map<string,string> extraParam
}

struct OpenCloudDirResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct OpenCloudDiskArg {
  1: string fileId
  2: string groupId
  3: string openFrom
  4: map<string,string> extraParam
}

struct OpenCloudDiskResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct OpenCloudEntryArg {
  1: i32 type
  2: map<string,string> extraParam
}

struct OpenCloudEntryResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct OpenFileWithArg {
  1: string filePath
  2: map<string,string> extraParam
}

struct OpenFileWithResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct OpenPhotoArg {
  1: string filePath
  2: string openFrom
  3: map<string,string> extraParam
}

struct OpenPhotoResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct OpenTransferRecordArg {
  1: list<FileRecordItem> fileRecordList
  2: map<string,string> extraParam
}

struct TransferOpertionInfo {
  1: string recordId
  2: string fileId
  3: string groupId
  4: string fileName
  5: i32 opType
  6: map<string,string> extraParam
}

struct OpenTransferRecordResult {
  1: i32 state
  2: list<TransferOpertionInfo> operationList
  3: map<string,string> extraParam
}

struct OpenVirtualCloudDiskArg {
  1: string userId
  2: string openFrom
  3: string fileId
  4: string cloudPath
  5: bool createWhenNoExists
  6: string entryIdentifier
  7: map<string,string> extraParam
}

struct OpenVirtualCloudDiskResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct LumoIpcArg {
  1: string nameSpace
  2: string method
  3: map<string,string> argMap
}

struct LumoIpcResult {
  1: i32 state
  2: map<string,string> resultMap
  3: list<string> resultList
  4: string resultString
}

struct QueryBatchFileOpTaskArg {
  1: string groupId
  2: string taskId
  3: map<string,string> extraParam
}

struct QueryBatchFileOpTaskResult {
  1: i32 state
  2: i32 progress
  3: list<string> fileIds
  4: map<string,string> extraParam
}

struct QueryDesktopPreSyncFileArg {
  1: string callFrom
  2: map<string,string> extraParam
}

struct QueryDesktopPreSyncFileResult {
  1: i32 state
  2: i32 fileCount
  3: i64 fileTotalSize
  4: map<string,string> extraParam
}

struct QueryDesktopSynchronizedFileArg {
  1: string userId
  2: map<string,string> extraParam
}

struct QueryDesktopSynchronizedFileResult {
  1: i32 state
  2: i32 fileCount
  3: map<string,string> extraParam
}

struct QueryDesktopSyncStateArg {
  1: string userId
  2: map<string,string> extraParam
}

struct QueryDesktopSyncStateResult {
  1: i32 state
  2: i32 syncState
  3: i32 syncErrorFileCount
  4: map<string,string> extraParam
}

struct QueryDesktopSyncSwitchStateArg {
  1: string userId
  2: map<string,string> extraParam
}

struct QueryDesktopSyncSwitchStateResult {
  1: i32 state
  2: bool bSwitchOn
  3: map<string,string> extraParam
}

struct QueryDocCollaborativeStatusArg {
  1: string filePath
  2: map<string,string> extraParam
}

struct QueryDocCollaborativeStatusResult {
  1: i32 state
  2: i32 collaborativeStatus
  3: string filePath
  4: map<string,string> extraParam
}

struct QueryQuickAccessStateArg {
  1: string userId
}

struct QueryQuickAccessStateResult {
  1: i32 state
  2: bool enable
  3: bool collapse
  4: i32 count
  5: i64 vserion
  6: bool fromCache
}

struct QuerySyncFolderFreeLimitPrivilegeArg {
  1: string userId
  2: string callFrom
  3: bool forceQuery
  4: map<string,string> extraParam
}

struct QuerySyncFolderFreeLimitPrivilegeResult {
  1: i32 state
  2: string userId
  3: map<string,string> extraParam
}

struct RecommendAdvert {
  1: string text
  2: string pictureUrl
  3: string type
  4: string content
  5: map<string,string> extraParam
}

struct RecommendItem {
  1: string text
  2: string type
  3: string content
  4: map<string,string> extraParam
}

struct RecommendListArg {
  1: string appType
  2: map<string,string> extraParam
}

struct RecommendListResult {
  1: i32 state
  2: list<RecommendItem> hotSearchList
  3: RecommendAdvert advert
  4: map<string,string> extraParam
}

struct RecoverRecyclesArg {
  1: string userId
  2: list<string> groudIds
  3: list<string> fileIds
  4: map<string,string> extraParam
}

struct RecoverRecyclesResult {
  1: i32 state
  2: string userId
  3: ServerErrorInfo errInfo
  4: map<string,string> extraParam
}

struct RefreshAIRightSidePanelArg {
  1: string groupid
  2: map<string,string> extraParam
}

struct RefreshAIRightSidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct RefreshSidePanelArg {
  1: string groupid
  2: map<string,string> extraParam
}

struct RefreshSidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct RemoveArg {
  1: string userId
  2: string groupId
  3: string id
  4: string taskId
  5: string parentId
  6: string fileType
  7: string fileId
  8: bool removeCompletely
  9: bool showErrorBubble
  10: string filePath
  11: map<string,string> extraParam
}

struct RemoveGroupArg {
  1: string userId
  2: string groupId
  3: map<string,string> extraParam
}

struct RemoveGroupMemberArg {
  1: string userId
  2: string groupId
  3: string memberId
  4: map<string,string> extraParam
}

struct RemoveGroupMemberResult {
  1: i32 state
  2: string result
  3: string userId
  4: string groupId
  5: string memberId
  6: string msg
  7: map<string,string> extraParam
}

struct RemoveGroupResult {
  1: i32 state
  2: string groupId
  3: string result
  4: string msg
  5: map<string,string> extraParam
}

struct RemoveResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: ServerErrorInfo errInfo
  5: map<string,string> extraParam
}

struct RenameArg {
  1: string userId
  2: string groupId
  3: string id
  4: string newName
  5: string taskId
  6: string fileId
  7: map<string,string> extraParam
}

struct RenameBeforeSaveAsArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: string newName
  5: string taskId
  6: i32 dirty
  7: map<string,string> extraParam
}

struct RenameGroupArg {
  1: string userId
  2: string groupId
  3: string groupName
  4: map<string,string> extraParam
}

struct RenameGroupResult {
  1: i32 state
  2: string groupId
  3: string groupName
  4: i64 mtime
  5: string cache
  6: map<string,string> extraParam
}

struct RenameResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: ServerErrorInfo errInfo
  5: map<string,string> extraParam
}

struct ReportDcInfocArg {
  1: string actionName
  2: map<string,string> paramsMap
  3: map<string,string> extraParam
}

struct ReportDcInfocResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct RequestCopyFilesArg {
  1: list<CloudItemId> selectedItems
  2: i32 type
  3: list<CloudItem> itemInfos
  4: list<CloudItem> shareItemInfos
  5: map<string,CloudItem> parentMap
  6: map<string,GroupInfo> groupMap
  7: map<string,string> extraParam
}

struct RequestCopyFilesResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct RequestOpenFileArg {
  1: string userId
  2: CloudItem itemInfo
  3: map<string,CloudItem> parentMap
  4: GroupInfo group
  5: bool sharedByOthers
  6: map<string,string> extraParam
}

struct RequestOpenFileResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct RequestSearchArg {
  1: string text
  2: i32 requestFrom
  3: i32 type
  4: map<string,string> extraParam
}

struct RequestSearchResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct RequestSyncRecentResult {
  1: i32 state
  2: bool ok
  3: map<string,string> extraParam
}

struct ResetCloudEventsUnreadCountArg {
  1: string userId
  2: string groupId
  3: bool fileEventOnly
  4: map<string,string> extraParam
}

struct ResetCloudEventsUnreadCountResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SaveAsArg {
  1: string userId
  2: string fileId
  3: string groupId
  4: string targetGroupId
  5: string targetParentId
  6: string sourceItemMetaId
  7: string sourceItemLocalPath
  8: string targetName
  9: map<string,string> extraParam
}

struct SaveAsResult {
  1: i32 state
  2: string userId
  3: CloudItem itemInfo
  4: map<string,string> extraParam
}

struct SaveToCloudDirArg {
  1: string groupId
  2: string userId
  3: string fileId
  4: string fname
  5: i32 itemType
  6: map<string,string> extraParam
}

struct SaveToCloudDirResult {
  1: i32 state
  2: string cloudPath
  3: map<string,string> extraParam
}

struct SearchArg {
  1: string userId
  2: string searchName
  3: string exts
  4: string orderBy
  5: string order
  6: i32 offset
  7: i32 count
  8: string folderId
  9: string groupId
  10: map<string,string> extraParam
}

struct SearchResult {
  1: i32 state
  2: string userId
  3: list<CloudItem> itemInfos
  4: list<CloudItem> shareItemInfos
  5: map<string,CloudItem> parentMap
  6: map<string,GroupInfo> groupMap
  7: i32 offset
  8: bool more
  9: map<string,LinkInfo> linkGroupMap
  10: map<string,string> extraParam
}

struct SearchUsingAICategoryArg {
  1: AISearchFilters searchfilters
  2: map<string,string> extraParam
}

struct SearchUsingAICategoryResult {
  1: i32 state
  2: string userId
  3: list<CloudItem> itemInfos
  4: list<CloudItem> shareItemInfos
  5: map<string,CloudItem> parentMap
  6: map<string,GroupInfo> groupMap
  7: i32 offset
  8: bool more
  9: list<string> all_category
  10: list<string> search_arg_category
  11: list<string> groupids
  12: map<string,string> extraParam
}

struct SendToFileTransferArg {
  1: bool isLocal
  2: string localFilePath
  3: i32 appId
  4: i32 srcTerminal
  5: i32 notifyType
  6: list<i32> notifyTerminals
  7: string fileId
  8: string fileName
  9: i32 fileVersion
  10: i64 fileSize
  11: i64 fileMtime
  12: string groupId
  13: string ext
  14: bool isAutoSend
  15: string source
  16: map<string,string> extraParam
}

struct SendToFileTransferResult {
  1: i32 state
}

struct SetAIPanelSwitchArg {
  1: bool flag
  2: map<string,string> extraParam
}

struct SetAIPanelSwitchResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SetAutoUpdateArg {
  1: list<CloudItem> itemList
  2: string source
  3: map<string,string> extraParam
}

struct SetAutoUpdateResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SetCloudItemReadArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: map<string,string> extraParam
}

struct SetCloudItemReadResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SetCurrentAutoBackupLocationArg {
  1: string groupId
  2: map<string,string> extraParam
}

struct SetCurrentAutoBackupLocationResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SetFavoriteItemArg {
  1: string fileId
  2: string groupId
  3: string id
  4: string dstLowId
  5: string dstHighId
  6: map<string,string> extraParam
}

struct SetFavoriteItemResult {
  1: i32 state
  2: FavoriteItem itemInfo
  3: string errorCode
  4: string errorDesc
  5: map<string,string> extraParam
}

struct SetGroupNoticeArg {
  1: string userId
  2: string groupId
  3: string content
  4: bool isModify
  5: map<string,string> extraParam
}

struct SetGroupNoticeResult {
  1: i32 state
  2: string groupId
  3: string content
  4: i64 mtime
  5: map<string,string> extraParam
}

struct SetLinkChkCodeArg {
  1: string linkSid
  2: bool bChkCode
  3: map<string,string> extraParam
}

struct SetLinkChkCodeResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SetQuickAccessItemArg {
  1: string fileId
  2: string groupId
  3: string dstLowId
  4: string dstHighId
  5: string type
  6: string url
  7: string title
}

struct SetQuickAccessItemResult {
  1: i32 state
  2: StartPageQuickAccessItem itemInfo
  3: i32 errorCode
  4: string errorDesc
}

struct SetStarItemArg {
  1: string fileId
  2: string groupId
  3: string source
  4: map<string,string> extraParam
}

struct SetStarItemResult {
  1: i32 state
  2: string fileId
  3: string groupId
  4: StarItem itemInfo
  5: string id
  6: string originType
  7: string linkGroupId
  8: map<string,string> extraParam
}

struct SetUserGuideStatusArg {
  1: bool status
  2: string key
  3: map<string,string> extraParam
}

struct SetUserGuideStatusResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowAIRightSidePanelArg {
  1: i32 hostWnd
  2: i32 panelWnd
  3: bool show
  4: map<string,string> extraParam
}

struct ShowAIRightSidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowDesktopSyncSettingArg {
  1: string userId
  2: string callFrom
  3: map<string,string> extraParam
}

struct ShowDesktopSyncSettingResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowDrag2ImShareDlgArg {
  1: string filePath
  2: i32 hwnd
  3: map<string,string> extraParam
}

struct ShowDrag2ImShareDlgResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowFileShareDlgArg {
  1: string fileId
  2: string appName
  3: string filePath
  4: string fileName
  5: i64 fileSize
  6: i64 lastModifyTime
  7: bool firstShowSetting
  8: i64 tabId
  9: map<string,string> extraParam
  10: string groupId
}

struct ShowFileShareDlgResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowHistoryVersionArg {
  1: string fileId
  2: string groupId
  3: string fileName
  4: map<string,string> extraParam
}

struct ShowHistoryVersionResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowHomepageArg {
  1: i32 hostWnd
  2: i32 homepageWnd
  3: bool show
  4: map<string,string> extraParam
}

struct ShowHomepageResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowOfficialTemplateWindowArg {
  1: bool autoShow
  2: i32 activeHwnd
  3: string sourceName
  4: map<string,string> extraParam
}

struct ShowOfficialTemplateWindowResult {
  1: i32 state
  2: bool autoShow
  3: i32 templateHwnd
  4: map<string,string> extraParam
}

struct ShowSettingArg {
  1: string userId
  2: string callFrom
  3: string targetTab
  4: map<string,string> extraParam
}

struct ShowSettingResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowSidePanelArg {
  1: i32 hostWnd
  2: i32 panelWnd
  3: bool show
  4: map<string,string> extraParam
}

struct ShowSidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct ShowTransDeatilArg {
  1: i32 tabPage
  2: i32 x
  3: i32 y
  4: map<string,string> extraParam
}

struct ShowTransDeatilResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SmartSyncArg {
  1: bool sync
  2: map<string,string> extraParam
}

struct SmartSyncResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct StoreOfxBoxMessageArg {
  1: i64 messageType
  2: string content
  3: map<string,string> extraParam
}

struct StoreOfxBoxMessageResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SubscribeDocCollaborativeStatusArg {
  1: string fileId
  2: string docFileId
  3: i32 status
  4: map<string,string> extraParam
}

struct SubscribeDocCollaborativeStatusResult {
  1: i32 state
  2: string fileId
  3: list<CollaborativeUserInfo> collaborativeUserInfos
  4: map<string,string> extraParam
}

struct SyncFolderArg {
  1: string userId
  2: string groupId
  3: string fileId
  4: i32 depth
  5: map<string,string> extraParam
}

struct SyncFolderResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct SyncSettingsFileObj {
  1: string name
  2: string revision
  3: string sha1
  4: map<string,string> extraParam
}

struct SyncSettingsListFileArg {
  1: string appID
  2: string deviceID
  3: map<string,string> extraParam
}

struct SyncSettingsListFileResult {
  1: i32 httpCode
  2: i32 state
  3: string appID
  4: string deviceID
  5: string name
  6: list<SyncSettingsFileObj> fileList
  7: map<string,string> extraParam
}

struct SyncSettingsListLogArg {
  1: string appID
  2: string deviceID
  3: string name
  4: map<string,string> extraParam
}

struct SyncSettingsLogObj {
  1: i64 size
  2: string revision
  3: string sha1
  4: map<string,string> extraParam
}

struct SyncSettingsListLogResult {
  1: i32 httpCode
  2: i32 state
  3: string appID
  4: string deviceID
  5: string name
  6: list<SyncSettingsLogObj> logList
  7: map<string,string> extraParam
}

struct SyncSettingsPullArg {
  1: string appID
  2: string deviceID
  3: string name
  4: string revision
  5: string savePath
  6: map<string,string> extraParam
}

struct SyncSettingsPullResult {
  1: i32 httpCode
  2: i32 state
  3: string deviceID
  4: string sha1
  5: string savePath
  6: map<string,string> extraParam
}

struct SyncSettingsPushArg {
  1: string appID
  2: string deviceID
  3: string name
  4: string revision
  5: string sha1
  6: string path
  7: map<string,string> extraParam
}

struct SyncSettingsPushResult {
  1: i32 httpCode
  2: i32 state
  3: string appID
  4: string deviceID
  5: string name
  6: string revision
  7: map<string,string> extraParam
}

struct SyncSettingsRemoveArg {
  1: string appID
  2: string deviceID
  3: string name
  4: string revision
  5: map<string,string> extraParam
}

struct SyncSettingsRemoveResult {
  1: i32 httpCode
  2: i32 state
  3: map<string,string> extraParam
}

struct SyncSettingsRevisionArg {
  1: string appID
  2: string name
  3: string deviceID
  4: string sha1
  5: map<string,string> extraParam
}

struct SyncSettingsRevisionResult {
  1: i32 httpCode
  2: i32 state
  3: string appID
  4: string name
  5: string deviceID
  6: string revision
  7: map<string,string> extraParam
}

struct TeamManageArg {
  1: string userId
  2: string groudId
  3: map<string,string> extraParam
}

struct TeamManageResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct TransferInfoListArg {
  1: i32 offset
  2: i32 count
  3: bool autoOffset
  4: string userId
  5: i32 type
  6: string callFrom
  7: bool autoResetCursor
  8: map<string,string> extraParam
}

struct TransferInfoListResult {
  1: list<FileRecordItem> fileRecord
  2: bool bFetchEnd
  3: i32 state
  4: string userId
  5: i32 type
  6: string callFrom
  7: map<string,string> extraParam
}

struct TurnOnDesktopSyncArg {
  1: string userId
  2: i32 fileCount
  3: i64 fileTotalSize
  4: map<string,string> extraParam
}

struct TurnOnDesktopSyncResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct UnsubscribeDocCollaborativeStatusArg {
  1: string fileId
  2: i32 status
  3: string docFileId
  4: map<string,string> extraParam
}

struct UnsubscribeDocCollaborativeStatusResult {
  1: i32 state
  2: string fileId
  3: map<string,string> extraParam
}

struct UpdateArg {
  1: string userId
  2: string fileId
  3: string groupId
  4: string parentId
  5: string taskId
  6: i32 taskLevel
  7: bool silence
  8: map<string,string> extraParam
}

struct UpdateCloudEventsArg {
  1: string userId
  2: bool groupOnly
  3: map<string,string> extraParam
}

struct UpdateCloudEventsResult {
  1: i32 state
  2: bool bInitDone
  3: map<string,string> extraParam
}

struct UpdateQuickAccessCollapseArg {
  1: bool collapse
}

struct UpdateQuickAccessCollapseResult {
  1: i32 state
}

struct UpdateQuickAccessItemArg {
  1: string qcid
  2: string title
  3: string url
}

struct UpdateQuickAccessItemResult {
  1: i32 state
}

struct UpdateResult {
  1: i32 state
  2: CloudItem itemInfo
  3: bool noNeedUpdate
  4: map<string,string> extraParam
}

struct UpdateSidePanelArg {
  1: PanelHostInfo hostInfo
  2: map<string,string> extraParam
}

struct UpdateSidePanelResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct UpdateTransferInfoArg {
  1: string recordId
  2: i32 status
  3: string userId
  4: map<string,string> extraParam
}

struct UpdateTransferInfoResult {
  1: i32 state
  2: string recordId
  3: i32 status
  4: map<string,string> extraParam
}

struct UploadChildrenArg {
  1: string userId
  2: string groupId
  3: string id
  4: i32 depth
  5: map<string,string> extraParam
}

struct UploadChildrenResult {
  1: i32 state
  2: CloudItem itemInfo
  3: map<string,string> extraParam
}

struct UploadFileArg {
  1: string filePath
  2: string groupId
  3: string parentId
  4: string fileId
  5: string fileVersion
  6: bool testUpload
  7: string roamingLocalPath
  8: string roamingOperation
  9: string roamingAppType
  10: string appointTadkId
  11: bool force
  12: bool roamingUpload
  13: string source
  14: map<string,string> extraParam
}

struct UploadFileResult {
  1: i32 state
  2: CloudItem fileInfo
  3: map<string,string> extraParam
}

struct UploadFilesToCloudArg {
  1: string userId
  2: string cloudPath
  3: list<string> srcFiles
  4: bool createWhenNoExists
  5: string userData
  6: string uploadFrom
  7: map<string,string> extraParam
}

struct UploadFilesToCloudResult {
  1: i32 state
  2: string userData
  3: map<string,string> extraParam
}

struct UploadFolderToCloudArg {
  1: string groupId
  2: string parentId
  3: string folderPath
  4: map<string,string> extraParam
}

struct UploadItemsArg {
  1: string userId
  2: string groupId
  3: string id
  4: list<CloudItem> subItems
  5: map<string,string> extraParam
}

struct UploadItemsResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct UploadRightNowArg {
  1: string taskId
  2: string filePath
  3: map<string,string> extraParam
}

struct UploadRightNowResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct UploadShareFileArg {
  1: i32 step
  2: string userId
  3: string filePath
  4: i64 fileSize
  5: bool linkViewonly
  6: string processId
  7: map<string,string> extraParam
}

struct UploadShareFileResult {
  1: i32 state
  2: i32 step
  3: string filePath
  4: string fileId
  5: string uploadTask
  6: bool isLocalFile
  7: string groupId
  8: string linkUrl
  9: string chkcode
  10: i32 err
  11: string errmsg
  12: string fileCachePath
  13: map<string,string> extraParam
}

struct UserExtraInfoArg {
  1: string userId
  2: i32 extraInfoHostWnd
  3: map<string,string> extraParam
}

struct UserExtraInfoResult {
  1: i32 state
  2: map<string,string> mapUserExtraInfo
  3: map<string,string> extraParam
}

struct UserProfessionResult {
  1: i32 state
  2: string userProfession
  3: string userGroup
  4: map<string,string> extraParam
}

struct UserProfessionSearchArg {
  1: i32 appType
  2: map<string,string> extraParam
}

struct VerifyDeleteDeviceArg {
  1: string userId
  2: string groupId
  3: string id
  4: string deviceId
  5: map<string,string> extraParam
}

struct VerifyDeleteDeviceResult {
  1: i32 state
  2: bool hasFiles
  3: map<string,string> extraParam
}

struct VerifyItemArg {
  1: string userId
  2: string groupId
  3: string id
  4: string selectedId
  5: map<string,string> extraParam
}

struct VerifyItemResult {
  1: i32 state
  2: string namePath
  3: map<string,string> extraParam
}

struct OfxBoxAsynCommandLineArg {
  1: string commandline
  2: map<string,string> extraParam
}

struct OfxBoxAsynCommandLineResult {
  1: i32 state
  2: map<string,string> extraParam
}

struct OfxBoxAsynDiscussionArg {
  1: string commandline
  2: list<string> paramsList
  3: map<string,string> paramsMap
  4: map<string,string> extraParam
}

struct OfxBoxAsynDiscussionResult {
  1: i32 state
  2: map<string,string> extraParam
}

service KLumoServices {
  map<string,string> asynCall(1: string method, 2: list<string> params)
  map<string,string> getLoginInfo()
  LumoIpcResult lumoIpcCall(1: LumoIpcArg arg)
  map<string,string> getCloudDiskRecommendData(1: string id, 2: string condition)
  map<string,string> showRecommendWidget(1: string data)
  map<string,string> notifyRecommendClose()
  map<string,string> showUpgradeVip(1: string strVipType)
  map<string,string> updateUserCacheInfo(1: bool bOnlyCloudSpace)
  CreateFileResult createFile(1: CreateFileArg arg)
  CreateFileResult createFileOnMyDevice(1: CreateFileArg arg)
  CreateFolderResult createFolder(1: CreateFolderArg arg)
  GroupInfo getPersonalSpace(1: string userId)
  GetGroupInfoListResult getGroupInfoList(1: string userId)
  GetGroupInfoListResult getGroupInfoList2(1: GetGroupInfoListArg arg)
  GetCompanyInfoListResult getCompanyInfoList(1: GetCompanyInfoListArg arg)
  GetCompanyGroupInfoListResult getCompanyGroupInfoList(1: GetCompanyGroupInfoListArg arg)
  GetInfoResult getInfo(1: GetInfoArg arg)
  GetInfoListResult getInfoList(1: GetInfoListArg arg)
  GetInfoListResult getInfoList2(1: GetInfoListArg arg)
  GetItemInfoListV5Result getItemInfoListV5(1: GetItemInfoListV5Arg arg)
  GetInfoListResult getLinks(1: GetInfoListArg arg)
  GetLinkInfoListResult getLinkInfoList(1: GetLinkInfoListArg arg)
  GetInfoListResult getLinksSharedTo(1: GetInfoListArg arg)
  CopyResult copyTo(1: CopyArg arg)
  MoveResult moveTo(1: MoveArg arg)
  SaveAsResult saveAs(1: SaveAsArg arg)
  BatchMoveChildResult batchMoveChildTo(1: BatchMoveChildArg arg)
  RemoveResult remove(1: RemoveArg arg)
  BatchRemoveResult batchRemove(1: BatchRemoveArg arg)
  RenameResult rename(1: RenameArg arg)
  RecoverRecyclesResult recoverRecycles(1: RecoverRecyclesArg arg)
  FileStateResult fileState(1: FileStateArg arg)
  GetUserIdResult getUserId()
  UpdateResult update(1: UpdateArg arg)
  BatchCopyResult batchCopy(1: BatchCopyArg arg)
  SearchResult search(1: SearchArg arg)
  CancelSyncResult cancelSync(1: CancelSyncArg arg)
  DownloadChildrenResult downloadChildren(1: DownloadChildrenArg arg)
  UploadChildrenResult uploadChildren(1: UploadChildrenArg arg)
  GetHistoryResult getHistory(1: GetHistoryArg arg)
  SyncFolderResult syncFolder(1: SyncFolderArg arg)
  CancelLinkResult cancelLink(1: CancelLinkArg arg)
  ExitLinkResult exitLink(1: ExitLinkArg arg)
  ExitLinkBySidResult exitLinkBySid(1: ExitLinkBySidArg arg)
  EditLinkMemberResult editLinkMember(1: EditLinkMemberArg arg)
  UploadShareFileResult uploadShareFile(1: UploadShareFileArg arg)
  CancelFileShareResult cancelFileShare(1: CancelFileShareArg arg)
  GetLinkInfoResult getLinkInfo(1: GetLinkInfoArg arg)
  GetLinkConvertInfoResult getLinkConvertInfo(1: GetLinkConvertInfoArg arg)
  GetLinkCompanyListResult getLinkCompanyList(1: GetLinkCompanyListArg arg)
  GetCompanyNotifyCountsResult getCompanyNotifyCounts(1: GetCompanyNotifyCountsArg arg)
  oneway void showBubble(1: string text)
  oneway void showBubbleEx(1: string type, 2: string text)
  DownloadItemsResult downloadItems(1: DownloadItemsArg arg)
  UploadItemsResult uploadItems(1: UploadItemsArg arg)
  ClearCacheResult clearCache(1: ClearCacheArg arg)
  ShowTransDeatilResult showTransDeatil(1: ShowTransDeatilArg arg)
  CanDragDropToSystemResult canDragDropToSystem(1: CanDragDropToSystemArg arg)
  ShowSettingResult showSetting(1: ShowSettingArg arg)
  AutoSyncResult sendAutoSync(1: AutoSyncArg arg)
  SmartSyncResult sendSmartSync(1: SmartSyncArg arg)
  UploadFilesToCloudResult uploadFilesToCloud(1: UploadFilesToCloudArg arg)
  OpenVirtualCloudDiskResult openVirtualCloudDisk(1: OpenVirtualCloudDiskArg arg)
  GetCloudFileCachePathResult getCloudFileCachePath(1: GetCloudFileCachePathArg arg)
  CreateTeamResult createTeam(1: CreateTeamArg arg)
  GetFileThumbnailResult getFileThumbnail(1: GetFileThumbnailArg arg)
  GetUserThumbnailResult getUserThumbnail(1: GetUserThumbnailArg arg)
  FeedbackResult Feedback(1: FeedbackArg arg)
  OpenPhotoResult openPhoto(1: OpenPhotoArg arg)
  oneway void trash()
  oneway void share()
  oneway void shareToMe()
  oneway void helpFAQ()
  oneway void lookupDocsFromWebSite()
  VerifyItemResult verifyItemExist(1: VerifyItemArg arg)
  SetAutoUpdateResult setAutoUpdate(1: SetAutoUpdateArg arg)
  OpenCloudDiskResult openCloudDisk(1: OpenCloudDiskArg arg)
  LogoutResult logout(1: LogoutArg arg)
  GetRecentFileInfoListResult getRecentFileInfoList(1: GetRecentFileInfoListArg arg)
  UserExtraInfoResult requestUserExtraInfo(1: UserExtraInfoArg arg)
  GetStarInfoListResult getStarMarkFileInfoList(1: GetStarListArg arg)
  GetFavoriteInfoListResult getFavoriteInfoList(1: GetFavoriteInfoListArg arg)
  GetVersionResult getVersionInfo(1: GetVersionArg arg)
  oneway void queryFreeLimitPrivilege()
  QuerySyncFolderFreeLimitPrivilegeResult querySyncFolderFreeLimitPrivilege(1: QuerySyncFolderFreeLimitPrivilegeArg arg)
  GetMsgListResult getMsgList(1: GetMsgListArg arg)
  GetUnreadNewMsgListResult getUnreadNewMsgList(1: GetUnreadNewMsgListArg arg)
  GetUnreadMsgListResult getUnreadMsgList(1: GetUnreadMsgListArg arg)
  GetUnreadMsgCountResult getUnreadMsgCount(1: GetUnreadMsgCountArg arg)
  DeleteMsgResult deleteMsg(1: DeleteMsgArg arg)
  MarkMsgReadResult markMsgRead(1: MarkMsgReadArg arg)
  void callNotifyMsgStatusChanged(1: CallNotifyMsgStatusChangedArg arg)
  void callClearMsgNotification(1: CallClearMsgNotificationArg arg)
  GetRecentFilesResult getRecentRoamingFiles(1: GetRecentFilesArg arg)
  DownloadCloudFileResult downloadFileFromCloud(1: DownloadCloudFileArg arg)
  UploadFileResult uploadFileToCloud(1: UploadFileArg arg)
  AddRoamingRecordResult addRoamingFileRecord(1: AddRoamingRecordArg arg)
  DelRoamingRecordResult delRoamingFileRecord(1: DelRoamingRecordArg arg)
  ShowHistoryVersionResult showHistoryVersion(1: ShowHistoryVersionArg arg)
  oneway void showMsgCenter(1: list<string> params)
  GetCompanyIntroPolicyResult getCompanyIntroPolicy(1: GetCompanyIntroPolicyArg arg)
  CompanyGroupSearchResult companyGroupSearch(1: CompanyGroupSearchArg arg)
  CloudDocSearchResult cloudDocSearch(1: CloudDocSearchArg arg)
  CloudDocContentSearchResult cloudDocContentSearch(1: CloudDocContentSearchArg arg)
  ChangeContentSearchStatusResult changeContentSearchStatus(1: ChangeContentSearchStatusArg arg)
  GetContentSearchStatusResult getContentSearchStatus(1: GetContentSearchStatusArg arg)
  FolioSearchResult folioSearch(1: FolioSearchArg arg)
  FolioSearchResult folioSearchRecommend(1: FolioSearchRecommendArg arg)
  FolioHotSearchResult getFolioHotSearch(1: FolioHotSearchArg arg)
  CheckSkinStatusResult checkSkinStatus(1: CheckSkinStatusArg arg)
  UserProfessionResult getUserProfession(1: UserProfessionSearchArg arg)
  FolioWidgetResult folioSearchWidget(1: FolioSearchWidgetArg arg)
  FolioFuncRecommendResult getFolioFuncRecommend(1: FolioFuncRecommendArg arg)
  RecommendListResult getRecommendList(1: RecommendListArg arg)
  TeamManageResult teamManage(1: TeamManageArg arg)
  GetRecycleBinListResult getRecycleBinList(1: GetRecycleBinListArg arg)
  ClearRecycleBinResult clearRecycleBin(1: ClearRecycleBinArg arg)
  BatchDestroyRecycleFilesResult batchDestroyRecycleFiles(1: BatchDestroyRecycleFilesArg arg)
  BatchRecoverRecycleFilesResult batchRecoverRecycleFiles(1: BatchRecoverRecycleFilesArg arg)
  CreateGroupResult createGroup(1: CreateGroupArg arg)
  RenameGroupResult renameGroup(1: RenameGroupArg arg)
  RemoveGroupResult removeGroup(1: RemoveGroupArg arg)
  GetGroupNoticeResult getGroupNotice(1: GetGroupNoticeArg arg)
  SetGroupNoticeResult setGroupNotice(1: SetGroupNoticeArg arg)
  GetGroupMembersResult getGroupMembers(1: GetGroupMembersArg arg)
  UpdateCloudEventsResult updateCloudEvents(1: UpdateCloudEventsArg arg)
  GetGroupEventsResult getGroupEvents(1: GetGroupEventsArg arg)
  GetFolderEventsResult getFolderEvents(1: GetFolderEventsArg arg)
  GetGroupUnreadEventsInfoResult getGroupUnreadEventsInfo(1: GetGroupUnreadEventsInfoArg arg)
  ResetCloudEventsUnreadCountResult resetCloudEventsUnreadCount(1: ResetCloudEventsUnreadCountArg arg)
  SetCloudItemReadResult setCloudItemRead(1: SetCloudItemReadArg arg)
  GetFileRecentEventsResult getFileRecentEvents(1: GetFileRecentEventsArg arg)
  BatchQueryItemReminderResult batchQueryItemReminder(1: BatchQueryItemReminderArg arg)
  RemoveGroupMemberResult removeGroupMember(1: RemoveGroupMemberArg arg)
  ChangeMemberRoleResult changeMemberRole(1: ChangeMemberRoleArg arg)
  GetGroupInviteLinkResult getGroupInviteLink(1: GetGroupInviteLinkArg arg)
  AddGroupMembersResult addGroupMembers(1: AddGroupMembersArg arg)
  ClearAllUnreadEventsResult clearAllUnreadEvents(1: ClearAllUnreadEventsArg arg)
  GetGroupInfoResult getGroupInfo(1: GetGroupInfoArg arg)
  GetUsersResult getUsers(1: GetUsersArg arg)
  GetFavoriteListResult getFavoriteList(1: GetFavoriteListArg arg)
  CancelFavoriteItemResult cancelFavoriteItem(1: CancelFavoriteItemArg arg)
  DragDropFavoriteItemResult dragDropFavoriteItem(1: DragDropFavoriteItemArg arg)
  SetFavoriteItemResult setFavoriteItem(1: SetFavoriteItemArg arg)
  GetStarListResult getStarList(1: GetStarListArg arg)
  CancelStarItemResult cancelStarItem(1: CancelStarItemArg arg)
  SetStarItemResult setStarItem(1: SetStarItemArg arg)
  DeleteDeviceResult deleteDevice(1: DeleteDeviceArg arg)
  GetStorageInfoResult getStorageInfo(1: GetStorageInfoArg arg)
  GetCloudNodeFileCountResult getCloudNodeFileCount(1: GetCloudNodeFileCountArg arg)
  BatchQueryUserDataResult batchQueryUserData(1: BatchQueryUserDataArg arg)
  VerifyDeleteDeviceResult verifyDeleteDevice(1: VerifyDeleteDeviceArg arg)
  NotifyExitResult notifyExit(1: NotifyExitArg arg)
  NotifyShowSettingsResult notifyShowSettings(1: NotifyShowSettingsArg arg)
  NotifyShowtTransDeatilResult notifyShowTransDetail(1: NotifyShowtTransDeatilArg arg)
  map<string,string> batchUploadFileListToPath(1: list<string> arg)
  map<string,string> getBatchUploadFileListState(1: list<string> arg)
  map<string,string> batchUploadFileListToAnyExistedPath(1: BatchUploadFilesToCloudArg arg)
  map<string,string> folderUpload(1: UploadFolderToCloudArg arg)
  UploadRightNowResult uploadRightNow(1: UploadRightNowArg arg)
  DownloadDirResult downloadDir(1: DownloadDirArg arg)
  DownloadCloudFilesResult downloadCloudFiles(1: DownloadCloudFilesArg arg)
  DownloadCloudFilesExResult downloadCloudFilesEx(1: DownloadCloudFilesExArg arg)
  SendToFileTransferResult sendToFileTransfer(1: SendToFileTransferArg arg)
  map<string,string> batchDownloadCloudFilesToPath(1: list<string> params)
  map<string,string> getBatchDownloadCloudFilesState(1: list<string> params)
  map<string,string> showFileProgress(1: string arg)
  map<string,string> showGuideDlg(1: list<string> arg)
  ShowFileShareDlgResult showFileShareDlg(1: ShowFileShareDlgArg arg)
  ShowDrag2ImShareDlgResult showDrag2ImShareDlg(1: ShowDrag2ImShareDlgArg arg)
  NotifyDrag2ImShareResult notifyDrag2ImShare(1: NotifyDrag2ImShareArg arg)
  ReportDcInfocResult reportDcInfoc(1: ReportDcInfocArg arg)
  NotifyAllClientActionsMapResult notifyAllClientActionsMap(1: NotifyActionsMapArg arg)
  NotifyShareDiscussionResult notifyShareDiscussion(1: NotifyShareDiscussionArg arg)
  CopyFileToCloudCacheResult copyFileToCloudCache(1: CopyFileToCloudCacheArg arg)
  GetFileIdByFilePathResult getFileIdByFilePath(1: GetFileIdByFilePathArg arg)
  MakeLinkV3Result makeLinkV3(1: MakeLinkV3Arg arg)
  ExitLinkV3Result exitLinkV3(1: ExitLinkV3Arg arg)
  CloseLinkV3Result closeLinkV3(1: CloseLinkV3Arg arg)
  ChangeLinkSettingResult changeLinkSetting(1: ChangeLinkSettingArg arg)
  SetLinkChkCodeResult setLinkChkCode(1: SetLinkChkCodeArg arg)
  SyncSettingsRevisionResult getSyncSettingsRevision(1: SyncSettingsRevisionArg arg)
  SyncSettingsListFileResult getSyncSettingsFileList(1: SyncSettingsListFileArg arg)
  SyncSettingsListLogResult getSyncSettingsLogList(1: SyncSettingsListLogArg arg)
  SyncSettingsPushResult pushSyncSettings(1: SyncSettingsPushArg arg)
  SyncSettingsPullResult pullSyncSettings(1: SyncSettingsPullArg arg)
  SyncSettingsRemoveResult removeSyncSettings(1: SyncSettingsRemoveArg arg)
  GetCloudFileInfoResult getCloudFileInfo(1: GetCloudFileInfoArg arg)
  NameRecommendResult nameRecommend(1: NameRecommendArg arg)
  QueryDocCollaborativeStatusResult queryDocCollaborativeStatus(1: QueryDocCollaborativeStatusArg arg)
  BatchQueryDocCollaborativeStatusResult batchQueryDocCollaborativeStatus(1: BatchQueryDocCollaborativeStatusArg arg)
  SubscribeDocCollaborativeStatusResult subscribeDocCollaborativeStatus(1: SubscribeDocCollaborativeStatusArg arg)
  UnsubscribeDocCollaborativeStatusResult unsubscribeDocCollaborativeStatus(1: UnsubscribeDocCollaborativeStatusArg arg)
  RenameResult renameCloudFileBeforeSaveAs(1: RenameBeforeSaveAsArg arg)
  map<string,string> commitRenameOpAfterSaveAs(1: CommitRenameAfterSaveAsArg arg)
  RemoveResult delayRemoveFile(1: RemoveArg arg)
  void clearUserCache(1: string arg)
  QueryBatchFileOpTaskResult queryBatchFileOpTask(1: QueryBatchFileOpTaskArg arg)
  GetOfficialDocListResult getOfficialDocList(1: GetOfficialDocListArg arg)
  GetOfficialDocResult getOfficialDoc(1: GetOfficialDocArg arg)
  ShowOfficialTemplateWindowResult ShowOfficialTemplateWindow(1: ShowOfficialTemplateWindowArg arg)
  CanShareFolderResult canShareFolder(1: CanShareFolderArg arg)
  StoreOfxBoxMessageResult storeOfxBoxMessage(1: StoreOfxBoxMessageArg arg)
  OfxBoxAsynCommandLineResult ofxBoxAsynCommandLine(1: OfxBoxAsynCommandLineArg arg)
  OfxBoxAsynDiscussionResult ofxBoxAsynDiscussion(1: OfxBoxAsynDiscussionArg arg)
  GetSyncFolderInfoResult getSyncFolderInfo(1: GetSyncFolderInfoArg arg)
  GetSyncFolderItemsResult getSyncFolderItems()
  GetSyncSubFolderInfoResult getSyncSubFolderInfo(1: GetSyncSubFolderInfoArg arg)
  SaveToCloudDirResult saveToCloudDir(1: SaveToCloudDirArg arg)
  CreateShareFolderResult createShareFolder(1: CreateShareFolderArg arg)
  CancelShareFolderResult cancelShareFolder(1: CancelShareFolderArg arg)
  CloudItemsCopyToResult cloudItemsCopyTo(1: CloudItemsCopyToArg arg)
  CloudItemsMoveToResult cloudItemsMoveTo(1: CloudItemsMoveToArg arg)
  CloudItemsSaveAsResult cloudItemsSaveAs(1: CloudItemsSaveAsArg arg)
  CloudItemsDuplicateResult cloudItemsDuplicate(1: CloudItemsDuplicateArg arg)
  CreateFileResult createEmptyCloudFile(1: map<string,string> arg)
  TransferInfoListResult getTransferInfoList(1: TransferInfoListArg arg)
  UpdateTransferInfoResult updateTransferInfoStatus(1: UpdateTransferInfoArg arg)
  DownloadTransferRecordResult downloadTransferRecord(1: DownloadTransferRecordArg arg)
  OpenTransferRecordResult openTransferRecord(1: OpenTransferRecordArg arg)
  GetTransferUnreadCountResult getTransferUnreadCount(1: GetTransferUnreadCountArg arg)
  QueryDesktopPreSyncFileResult queryDesktopPreSyncFileInfo(1: QueryDesktopPreSyncFileArg arg)
  QueryDesktopSynchronizedFileResult queryDesktopSynchronizedFileCount(1: QueryDesktopSynchronizedFileArg arg)
  TurnOnDesktopSyncResult turnOnDesktopSync(1: TurnOnDesktopSyncArg arg)
  QueryDesktopSyncStateResult queryDesktopSyncState(1: QueryDesktopSyncStateArg arg)
  ShowDesktopSyncSettingResult showDesktopSyncSetting(1: ShowDesktopSyncSettingArg arg)
  QueryDesktopSyncSwitchStateResult queryDesktopSyncSwitchState(1: QueryDesktopSyncSwitchStateArg arg)
  CheckDesktopSyncWorkWellResult checkDesktopSyncWorkWell(1: CheckDesktopSyncWorkWellArg arg)
  CheckDesktopSyncSwitchConflictResult checkDesktopSyncSwitchConflict(1: CheckDesktopSyncSwitchConflictArg arg)
  GetQuickAccessListResult getQuickAccessList(1: GetQuickAccessListArg arg)
  CancelQuickAccessItemResult cancelQuickAccessItem(1: CancelQuickAccessItemArg arg)
  DragDropQuickAccessItemResult dragDropQuickAccessItem(1: DragDropQuickAccessItemArg arg)
  SetQuickAccessItemResult setQuickAccessItem(1: SetQuickAccessItemArg arg)
  UpdateQuickAccessItemResult updateQuickAccessItem(1: UpdateQuickAccessItemArg arg)
  QueryQuickAccessStateResult queryQuickAccessState(1: QueryQuickAccessStateArg arg)
  UpdateQuickAccessCollapseResult updateQuickAccessCollapse(1: UpdateQuickAccessCollapseArg arg)
  EnableQuickAccessResult enableQuickAccess(1: EnableQuickAccessArg arg)
  GetWorkspaceStatusResult getWorkspaceStatus(1: GetWorkspaceStatusArg arg)
  ChangeWorkspaceStatusResult changeWorkspaceStatus(1: ChangeWorkspaceStatusArg arg)
  GetCorpSpecialResult getCorpSpecial(1: GetCorpSpecialArg arg)
  GetCompanySpaceListResult getCompanySpaceList(1: GetCompanySpaceListArg arg)
  GetUserGuideStatusResult getUserGuideStatus(1: GetUserGuideStatusArg arg)
  SetUserGuideStatusResult setUserGuideStatus(1: SetUserGuideStatusArg arg)
  GetSpreadControlResult getSpreadControl(1: GetSpreadControlArg arg)
  GetRoamingGroupResult getRoamingGroup(1: GetRoamingGroupArg arg)
  SetCurrentAutoBackupLocationResult setCurrentAutoBackupLocation(1: SetCurrentAutoBackupLocationArg arg)
  GetCurrentDefaultRoamingBoxResult getCurrentDefaultRoamingBox(1: GetCurrentDefaultRoamingBoxArg arg)
  GetMyCompanyDocItemsResult getMyCompanyDocItems(1: GetMyCompanyDocItemsArg arg)
  GetRecycleBinListV5Result getRecycleBinListV5(1: GetRecycleBinListV5Arg arg)
  ClearRecycleBinV5Result clearRecycleBinV5(1: ClearRecycleBinV5Arg arg)
}

service KLumoNotifyServices {
  oneway void notifyAction(1: NotifyActionArg arg)
  oneway void notifyFileAction(1: NotifyFileActionArg arg)
  oneway void notifyFileBatchAction(1: NotifyFileBatchActionArg arg)
  oneway void notifyFileCreation(1: NotifyFileCreationArg arg)
  oneway void notifyFileStateChanged(1: NotifyFileStateListArg arg)
  oneway void notifyLoadFavoriteItemsChanged(1: NotifyLoadFavoriteArg arg)
  oneway void notifyFilePropertyChanged(1: NotifyFilePropertyArg arg)
  oneway void notifyGroupCreation(1: NotifyGroupCreationArg arg)
  oneway void notifyGroupPropertyChanged(1: NotifyGroupPropertyArg arg)
  oneway void notifyGroupDeletion(1: NotifyGroupDeletionArg arg)
  oneway void notifyCompanyCreation(1: NotifyCompanyCreationArg arg)
  oneway void notifyCompanyPropertyChanged(1: NotifyCompanyPropertyArg arg)
  oneway void notifyCompanyDeletion(1: NotifyCompanyDeletionArg arg)
  oneway void notifyUserInfoChanged(1: NotifyUserInfoArg arg)
  oneway void notifyFileThumnail(1: NotifyFileThumbnailArg arg)
  oneway void notifyUserThumbnail(1: NotifyUserThumbnailArg arg)
  oneway void notifyBroadcastLocalMsg(1: string arg)
  oneway void notifyNewMsgList(1: list<string> arg)
  oneway void notifyMsgStatusChanged(1: NotifyMsgStatusChangedArg arg)
  oneway void notifyClearMsgNotification(1: NotifyClearMsgNotificationArg arg)
  oneway void notifyRecentFileStateChanged(1: list<CloudItem> arg)
  oneway void notifyRecentFileItemsChanged(1: NotifyRecentFileChangeArg arg)
  oneway void notifyRecentFileItemsFetched(1: NotifyRecentFileFetchArg arg)
  oneway void notifyDocCollaborativeStatus(1: NotifyDocCollaborativeStatusArg arg)
  oneway void notifyActionsMap(1: NotifyActionsMapArg arg)
  oneway void notifyShareDiscussion(1: NotifyShareDiscussionArg arg)
  oneway void notifyDrag2ImInfo(1: NotifyDrag2ImInfoArg arg)
  oneway void notifyRecycleBinChanged(1: NotifyRecycleBinArg arg)
  oneway void notifySmartUpdateChanged(1: NotifySmartUpdateArg arg)
  oneway void notifySmartSyncChanged(1: NotifySmartSyncArg arg)
  oneway void notifyAutoUpdateFoldersChanged(1: NotifyAutoUpdateFoldersChangedArg arg)
  oneway void notifyAutoUpdateStatus(1: NotifyAutoUpdateStatusArg arg)
  oneway void notifyMsgList(1: NotifyMsgListArg arg)
  oneway void notifyCloudEventsChanged(1: NotifyCloudEventsArg arg)
  oneway void notifyGetCloudEventsPath(1: NotifyGetCloudEventsPathArg arg)
  oneway void notifyItemReminderChanged(1: NotifyItemReminderChangedArg arg)
  oneway void notifyUserGenericInfoChanged(1: NotifyUserGenericInfoArg arg)
  oneway void notifyCloseOfficialTemplateWindow(1: NotifyCloseOfficialTemplateWindowArg arg)
  oneway void notifyBrowserFolder(1: NotifyBroswerFolderArg arg)
  oneway void notifySmartSyncFolderAutoCreated(1: NotifySmartSyncFolderAutoCreatedArg arg)
  oneway void notifyCloseSyncLocalFolderWindow(1: NotifyCloseSyncLocalFolderWindowArg arg)
  oneway void notifyFileIndexRecordsChanged(1: NotifyFileIndexRecordsChangedArg arg)
  oneway void notifyRoamingFileTransferFinished(1: NotifyFileTransferArg arg)
  oneway void notifyRecommendUpdate(1: NotifyRecommendUpdateArg arg)
  oneway void notifyDocTeamV2(1: NotifyDocTeamV2Arg arg)
}
