#ifndef TRVX_UI_RESOURCE_IDS_H
#define TRVX_UI_RESOURCE_IDS_H

/* Resource identifiers (src/ui), shared by the resource script and the code, so plain
   preprocessor constants. */
#define kDialogDriver 101
#define kDialogAbout 102
#define kDialogSettings 103
#define kDialogDefectiveApps 104
#define kBitmapBanner 105

#define kStringDescription 1
#define kStringName 2
#define kStringCodecAbout 3
#define kStringFamilyAbout 4
#define kStringBuild 5
#define kStringSettingsCaption 6

/* Controls of the dialogs. */
#define kControlAboutText 1000
#define kControlDriverSettings 1001
#define kControlDriverAbout 1002
#define kControlBanner 1003
#define kControlFourCcList 1004
#define kControlFourCcEdit 1005
#define kControlFourCcAdd 1006
#define kControlFourCcRemove 1007
#define kControlAppList 1008
#define kControlAppEdit 1009
#define kControlAppAdd 1010
#define kControlAppRemove 1011
#define kControlAppBrowse 1012
#define kControlSettingsAbout 1013
#define kControlChangeFieldsOrder 1014
#define kControlDefectiveList 1015
#define kControlDefectiveAdd 1016
#define kControlDefectiveDelete 1017
#define kControlAdvanced 1018

#endif
