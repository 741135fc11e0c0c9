#ifndef TRVX_UI_RESOURCE_IDS_H
#define TRVX_UI_RESOURCE_IDS_H

/* Shared by the resource script and the code, so plain preprocessor constants. */
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

#endif
