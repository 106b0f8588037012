// Every migration of the program, by family; a family's code is in the file of its name.
//
// A migration takes no arguments, returns 0 or a negative value, logs its own failures and never throws. Its
// name is what the package log knows it by.
#pragma once

namespace migrations {

// layouts_maps.cpp: Layouts, e-maps and geo-maps.
int UpdateEmapLocation();
int UpdateUserDefLayout();
int MoveEmapDir();
int RemoveCmsEmap();
int PrepareEmapThumbnails();
int UpdateSequenceLayout();
int UpdateEmapItemPosition();
int RemoveEmapShortcut();
int CreateDefLayout();
int CopyEmapItemToGeoMapItem();
int UpdateLayoutEmapChannel();
int UpdateLayoutName();
int UpdateLayoutType();
int DisableVdAddonsAndMarkVdDeprecatedViewed();
int SetDefaultLayoutPanelSortMethod();

// camera_models.cpp: Camera models, resolutions and field-of-view texts that later device definitions no
// longer know.
int PatchEtrovisionCamModelDB();
int PatchTrendnetIP612DB();
int PatchAirLiveReso();
int PatchGrandstreamReso();
int RemoveYcamVdoRotate();
int RemoveGrandstreamMjpeg();
int PatchHIKVISIONDS2CD832F();
int RenameGrandstreamModels();
int PatchAxisM3006Reso();
int PatchAxisP3384();
int FixCamModelTvStandard();
int PatchMessoaNcb858();
int RenameFovDesc();

// cameras.cpp: Cameras and their streams.
int UpgradeRtspProtocol();
int FillMobileStmByLiveviewStm();
int CreatePatrolPresetStaytime();
int SetUiStmNoList();
int UpdateCameraLiveObjectSize();
int InsertCamDeviceoutputTable();
int InsertCamDetSettingTable();
int ChangeUiStmNoListFormat();
int UpdateMotionDetectionRegion();
int CreateRtspKeepAlive();
int CreateCodecOptimization();
int CopyLiveviewModeToMobile();
int UpdatePir();
int RenameCaseSensitiveCamNameAndRecFolder();
int UpdateCamProfileSettingList();
int RemovePsiaVendorModelPath();
int CreateCodecOptimizationText();
int ForceSyncTimeWithHost();
int UpdateMultiStreamDBColumn();
int UpdatePTZSpeedKeepOrigin();
int UpdateDefaultProfile();
int InsertRemovableLens();
int MoveCapInfoPath();
int UpdateLastRestartAndSyncTime();
int AddCameraPortName();
int UpdateAcapLiveViewAlertVal();
int UpdateLocalCamSettings();
int UpdateAcapCustomDetectionVal();
int UpdatePortPairing();
int UpdateAppVMDSetting();
int UpdateCamExtDIPort();
int UpdateCustomAppDetection();
int CreateDahuaIVSHomemodeCustomRecordRec();
int CreateMissingCamSettingsConf();
int RenameCapFile();
int IntegrateExternalProfileToCam();
int UpdateThermalCameraDeviceType();
int SaveAllCamAndHomeMode();
int UpdateOrvaCamTimeZone();
int UpdateOrvacamAutoRestartInterval();
int ChangeAudioFormat();
int InitOrvacamLogArchSetting();
int CorrectOrvacamOptimizeSettings();
int UpdatePairedSpeakerType();
int OrvacamStartUpAutoUpgrade();

// recordings.cpp: Recordings, snapshots, bookmarks, edge storage and where they are kept.
int RemoveSlaveEvtInEvtTable();
int EventExternalToManual();
int EventAddEdgeStorageRecId();
int InsertEdgeStorageSettingFromCamera();
int UpdateEdgeClipStatus();
int RemoveLocalThumbnail();
int UpgradeRecDISchToCustomSch1();
int RemoveRecordingEvent();
int SetRecFolderIfCamNameIsNotSame();
int AddQuotaAndSizeToRecShareDb();
int RestoreSharePath();
int ConvertSnapshotSettings();
int SetVideoTmEqualToCreateTm();
int ChangeSnapshotDir();
int CheckAndUpdateSnapshotOwner();
int RenameTransactionDirectory();
int UpdateSnapshotSortAndNamingRule();
int InsertDefaultIVAStoragePath();
int UpdateSharedFolderApplicationId();
int DisableRecLimit();
int UpdateExtEventData();
int UpdateEdgeStorageSetting();
int ResetWritingEvtPath();
int InsertDefaultFaceStoragePath();
int UpdateBookmarkDurationAndMap();
int ChownCamReclog();
int IntegratePrePostRecTimeOnce();
int SetFrameTimeCorrection();
int ResetCamManualRecEn();
int TransferRecordingEncryptTable();
int InsertDefaultDetectionEventStoragePath();
int ChangeCameraIntegrationPropertyAndStatus();
int ChangeDefaultBookmarkLimit();

// archives.cpp: Archive tasks and archived recordings.
int UpdateArchLastEventIdMap();
int RenameArchiveFolder();
int UpdateArchAndLapseRotParam();
int LimitMaxLengthOfArchTaskNameTo32();
int UpdateOneTimeArchAndLapseStatus();
int IntegrateArchiveSettingOnce();
int ArchRecMethodToPayloadOnce();

// notifications.cpp: Notification events, filters, schedules and messages.
int NotiFilterAddRecStorageColumn();
int AddDsSerialForPushService();
int DisableMsnSkypePushService();
int RemoveSkypeMsn();
int UpdateNotifiSettings();
int UpdateEnablePushService();
int RemoveEnablePushService();
int SyncHosNotifyOnce();
int DelDupNotiMail();
int MoveNotiVarsToDb();
int UpdateCompactMsgInterval();
int UpdateNotifyScheduleForHomeModeRelated();
int UpdateArchivingDailyReportSchedule();
int UpdateIntercomRexNotificationSettings();
int SetHosNotifiyCompanyNameToConf();
int UpdateNotificationEvent();
int UpdateSystemNotifySchedule();
int UpdateServerIdOfHomeModeEvent();
int UpdateCustomNotificationMsgPath();
int MergeNotificationMailToList();
int SyncHosNotifySettingsToVgs();
int RenameNotificationParamsSlaveDS();
int UpdateNotificationPeopleVechileSetting();
int RemoveNotificationYahooServiceProviderOption();
int ChangeDefaultBookmarkArchiveNumLimit();
int UpdateCamNotiSchedFilter();
int DisableNotificationMDWebhookFilter();

// event_labels.cpp: Event labels.
int UpdateEventLabelSettingToJson();
int UpdateEventLabelColor();

// alert_events.cpp: Alert events and live alerts.
int UpdateCamAlertSetting();
int MoveAnalyticsEvent2AlertEvent();
int UpdateAnalyticsBeep2AlertBeep();
int UpdateLiveAlertFrameType();
int UpdateAlertEvtUpdSeq();
int ChangeAdvRecLiveTrigEvtToAlertEvt();
int UpdateAlertDIByAlertEvent();
int UpdateCameraAlertEventType();
int UpdateRecAlertEventType();
int RaiseAlertActionInCamCheckedAlertEvent();

// privilege_profiles.cpp: Privilege profiles, their id lists and the accounts bound to them.
int UpdatePrivilegeProfile();
int UpdatePrivProfileAndPrivPerCam();
int ClearInaCamsInDefPrivProf();
int UpdateEditLayoutPrivilege();
int UpdateEditEmapPrivielege();
int RemoveNotExistDataInPrivProfile();
int UpdateWallpaperPrivilege();
int AddSlavedsToAllIO();
int UpdateManagerLayoutAndEmapPriv();
int UpdatePrivPerCam();
int UpdateIPSpeakerPrivilege();
int DeleteNonexistentPrivProfileFromSubTable();
int CreateNonePrivProfile();
int UpdateWebMapDefPriv();
int UpdateVGAccountPrivProfileList();
int UpdateMapPrivOfNonePrivProfile();
int RemoveAllObjIntrusion();
int UpdateAllObjSpecPrivilege();
int CorrectAdminUserPrivProfile();
int UpdateDefPrivProfile();
int ReCreateNonePrivProfile();

// privilege_operations.cpp: Operations that a privilege profile denies: bits of a mask first, characters of a
// string later.
int UpdateDelteRecPriv();
int UpdateDelAndEditSnapshotPriv();
int UpdateRecExportMountPriv();
int UpdateManagerOperPriv();
int UpdateIVAOperPriv();
int UpdateDoorPriv();
int UpdateIntercomPriv();
int UpdatePOSPriv();
int UpdateHomeModePriv();
int GrantAllObjMgrTransDeviceAddDelPriv();
int ExtendPrivAdvOper();
int CorrectAllObjPrivAdvOper();
int UpdatePrivAdvOper();

// access_control.cpp: Door controllers, card holders and door rights.
int MergeAxisacsctrlPrivilege();
int UpdateDoorAccessTimeAndAuthProfile();
int SyncCardHolder();
int UpdatePrivPerDoor();
int ResetAllDoorsPrivilege();

// action_rules.cpp: Action rules.
int UpdateActionRuleToMultiEvent();
int UpdateActRuleEventTrigType();
int UpdateUserDefineAudio();
int UpdateActRuleEvtCamDevId();
int UpdateActRuleMobicamAction();
int SetActDevIdsFromActDevId();
int SetActRuleMultiStatusFromStatus();
int AppendWavHeaderToCustomAdoPattern();
int UpdateWavHeaderToCustomAdoPattern();
int UpdateActionRulePassword();
int RenameActionRuleBmkWebhookParam();

// logs.cpp: The user-visible log and its limits.
int UpgradeLogWithGrpAndItemId();
int TouchLogTypeSettingKeys();
int UpdateLogUserName();
int ChangeDefaultLogArchiveNumLimit();
int AddAdvLogAndDropAbandoned();

// user_settings.cpp: Per-user settings files.
int UpdateUsersettingPermission();
int UpdateUserSortSetting();
int UpdateNonAdminHideResourceMonitor();
int DivideDesktopAppPreference();
int UpdateWelcomeTutorialKey();
int UpdateInformationChangeKey();
int UpdateUserSettingsDefApp();
int UpdateCameraShortcuts();
int UpgradeLiveViewTimeLineShortcut();

// analytics.cpp: Analytics tasks, their events and faces.
int FixAnalyticsEvtTableIdColumn();
int UpdateDvaPeopleDisplayCount();
int TouchAllowMotionDetectionFlag();
int ShowDvaTaskChangeInfo();
int UpdateDvaMDToPeopleAndVehicle();
int UpdateDvaFaceFilePrivilege();
int UpdateDvaDetectionOnlyResults();
int RemoveDvaSmartTagTooManyPeopleInRegion();
int LimitFaceRecordNumber();

// licences.cpp: Licences. Nothing about them is settled: the licence service keeps its own books.
int UpgradeLicenseDB();
int UpdateSlaveDsVerifyAndLicenseCnt();
int UpdateLicenseIdOnRec();
int ClearActivatedColumn();
int UpdateLicenseKeyActivation();
int AddDoorControllerLicense();

// package_settings.cpp: Package settings: keys of settings.conf and what add-on services find there.
int UpdateCMSInfo();
int CreateDpAutoUpdateInfo();
int UpdateCMSVideoRelayType();
int CreateLdAutoUpdateInfo();
int ResetDpLdNewVersion();
int InitEdgeRecordingAddOnInfo();
int RenameDownloadServerKey();
int CreateOrvacamAutoUpdateInfo();
int DisableDPLocalDisplayAutoUpdate();
int SetFileDownloadServer();
int UpdateH265HwDecodeSettings();

// package_files.cpp: Files and folders of the package: retired ones go, others move.
int MoveDBBackupFile();
int RemoveLocalDisplayAddOnDir();
int UnregReadOnlyBit();
int Changeowner();
int UpdateOwnerAndPrivilege();
int RemoveGzLogFiles();
int MoveCmsDataFolders();
int ChangeCmsRecServerDirOwner();
int RemoveVideoAnalyticsAddOnDir();
int RemoveACAPServiceFile();
int RemoveOldVGlogSendConf();
int RemoveFailoverServiceFile();
int UpdateVGSharePermission();
int ChangeDBBackupOwner();
int ChangeDBFileOwnerMod();

// database.cpp: Databases as such: indexes, tables, stored passwords.
int CheckVGGenericTable();
int EncryptSlaveDsAdminPasswd();
int CreateTimestampIndex();
int CreateRecordingIndexes();
int DropIndex();
int EncryptDBPassword();
int EncryptLoginInfoSid();
int EncryptCameraIntegrationPassword();

// library_rows.cpp: Rows that forward to an operation of the package's libraries, and the row that ends the
// registry.
int RecountRecordingAndLog();
int RecountVGLogAndAxisAcsLog();
int ChangeAddOnServiceStatus();
int NoOperation();

}  // namespace migrations
