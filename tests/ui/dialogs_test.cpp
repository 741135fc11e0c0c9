// The configuration dialogs driven as a person would: the test's thread opens a dialog
// through the codec and sits in its modal loop, while a second thread finds each window,
// types into it, clicks its buttons, reads its lists and answers its message boxes.
#include <gtest/gtest.h>

#include <windows.h>
// vfw.h needs windows.h first.
#include <vfw.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "settings/registry_key.h"
#include "settings/settings_record.h"
#include "support/codec_library.h"
#include "support/screen_shot.h"

namespace trvx::test {
namespace {

constexpr DWORD_PTR kNoInstance = 0xFFFFFFFF;

enum Control : int {
  kAboutText = 1000, kDriverSettings, kDriverAbout, kFourCcList = 1004, kFourCcEdit, kFourCcAdd, kFourCcRemove,
  kAppList, kAppEdit, kAppAdd, kAppBrowse = 1012, kSettingsAbout, kChangeFieldsOrder, kDefectiveList,
  kDefectiveAdd, kDefectiveDelete, kAdvanced
};
constexpr char kDriverCaption[] = "Configure your M-JPEG";
constexpr char kSettingsCaption[] = "Configure Korvantelix M-JPEG";
constexpr char kAboutCaption[] = "About...";
constexpr char kDefectiveCaption[] = "List of defective application";
constexpr char kDefectiveKey[] = "SoftWare\\Korvantelix\\Common codec's settings\\YUV defective application";

using Items = std::vector<std::string>;

std::string CodecString(UINT id) {
  const HMODULE codec = LoadLibraryExA(CodecPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  char text[2048] = "";
  LoadStringA(codec, id, text, sizeof text);
  FreeLibrary(codec);
  return text;
}

// The person at the keyboard, on a thread of its own.
class User {
 public:
  explicit User(DWORD dialogThread) : dialogThread_(dialogThread) {}

  // A visible dialog of the codec's thread with this caption, or null after the wait.
  HWND WaitFor(const char* caption, DWORD milliseconds = 5000) const {
    for (DWORD waited = 0; waited < milliseconds; waited += 10) {
      const HWND window = FindWindowA("#32770", caption);
      if (window != nullptr && IsWindowVisible(window) && GetWindowThreadProcessId(window, nullptr) == dialogThread_) {
        return window;
      }
      Sleep(10);
    }
    return nullptr;
  }

  // Waits until the window is gone and its owner has finished the click that opened it.
  static bool WaitGone(HWND window, HWND owner) {
    for (int i = 0; i < 500 && IsWindow(window); ++i) Sleep(10);
    if (IsWindow(window)) return false;
    Sleep(50);
    SendMessageA(owner, WM_NULL, 0, 0);
    return true;
  }

  static void Type(HWND dialog, int id, const char* text) { SetDlgItemTextA(dialog, id, text); }
  // A click whose handler returns without opening anything.
  static void Click(HWND dialog, int id) { SendMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
  // A click that opens a modal window: posted, since the handler does not return until it closes.
  static void ClickOpening(HWND dialog, int id) { PostMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
  // Clicks a button that opens the dialog with this caption, and waits for it.
  HWND Open(HWND dialog, int id, const char* caption) const {
    ClickOpening(dialog, id);
    return WaitFor(caption);
  }

  void PressEscape(HWND dialog) const {
    GUITHREADINFO info = {};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(dialogThread_, &info);
    const HWND target = info.hwndFocus != nullptr ? info.hwndFocus : dialog;
    PostMessageA(target, WM_KEYDOWN, VK_ESCAPE, 0x00010001);
    PostMessageA(target, WM_KEYUP, VK_ESCAPE, 0xC0010001);
  }

  static Items ListItems(HWND dialog, int id) {
    Items items;
    const LRESULT count = SendDlgItemMessageA(dialog, id, LB_GETCOUNT, 0, 0);
    for (LRESULT i = 0; i < count; ++i) {
      char text[600] = "";
      SendDlgItemMessageA(dialog, id, LB_GETTEXT, i, reinterpret_cast<LPARAM>(text));
      items.emplace_back(text);
    }
    return items;
  }
  static LRESULT Selected(HWND dialog, int id) { return SendDlgItemMessageA(dialog, id, LB_GETCURSEL, 0, 0); }
  static void Select(HWND dialog, int id, LRESULT index) { SendDlgItemMessageA(dialog, id, LB_SETCURSEL, index, 0); }
  static std::string Text(HWND dialog, int id) { return WindowText(GetDlgItem(dialog, id)); }
  static std::string WindowText(HWND window) {
    char text[2048] = "";
    GetWindowTextA(window, text, sizeof text);
    return text;
  }

  // Reads a message box, checks its text and icon, and presses its OK button.
  void AnswerMessageBox(HWND owner, const char* caption, const char* text, LPCSTR icon) const {
    const HWND box = WaitFor(caption);
    ASSERT_NE(box, nullptr) << "no message box \"" << caption << "\"";
    std::string texts = "|";
    HICON shownIcon = nullptr;
    for (HWND child = GetWindow(box, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
      texts += WindowText(child) + "|";
      if ((GetWindowLongA(child, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) {
        shownIcon = reinterpret_cast<HICON>(SendMessageA(child, STM_GETICON, 0, 0));
      }
    }
    EXPECT_NE(texts.find(std::string("|") + text + "|"), std::string::npos) << texts;
    EXPECT_EQ(shownIcon, LoadIconA(nullptr, icon)) << caption;
    Click(box, IDOK);
    EXPECT_TRUE(WaitGone(box, owner));
  }

  // Types a file name into the open-file dialog with this title and confirms it.
  void ChooseFile(HWND owner, const char* title, const char* path) const {
    const HWND chooser = WaitFor(title);
    ASSERT_NE(chooser, nullptr) << "no file dialog \"" << title << "\"";
    for (int nameControl : {0x47C, 0x480}) {  // combo box cmb13 or edit edt1, whichever the dialog has
      if (GetDlgItem(chooser, nameControl) != nullptr) SetDlgItemTextA(chooser, nameControl, path);
    }
    ClickOpening(chooser, IDOK);
    EXPECT_TRUE(WaitGone(chooser, owner));
  }

  // The window as screenshots\<name>.bmp beside the test program.
  static void Screenshot(HWND window, const char* name) {
    Sleep(300);  // let it paint
    RECT area;
    GetWindowRect(window, &area);
    const std::string directory = CodecPath().substr(0, CodecPath().find_last_of('\\') + 1) + "screenshots";
    CreateDirectoryA(directory.c_str(), nullptr);
    SaveScreenArea(area, directory + "\\" + name + ".bmp");
  }

 private:
  DWORD dialogThread_;
};

// Closes whatever a failed script left open, so the test reports instead of hanging.
BOOL CALLBACK CancelDialog(HWND window, LPARAM) {
  char name[16] = "";
  GetClassNameA(window, name, sizeof name);
  if (std::strcmp(name, "#32770") == 0) PostMessageA(window, WM_COMMAND, IDCANCEL, 0);
  return TRUE;
}

void CloseDialogsOf(DWORD thread) { EnumThreadWindows(thread, CancelDialog, 0); }

// Runs open() on this thread while the user acts on another; returns what open() returned.
LRESULT WhileUserActs(const std::function<void(const User&)>& acts, const std::function<LRESULT()>& open) {
  const DWORD thread = GetCurrentThreadId();
  std::atomic<bool> returned{false};
  std::thread person([&] {
    const User user(thread);
    acts(user);
    for (int waited = 0; !returned; waited += 50) {
      if (waited >= 5000) CloseDialogsOf(thread);
      Sleep(50);
    }
  });
  const LRESULT result = open();
  returned = true;
  person.join();
  return result;
}

SettingsRecord Record(uint32_t changeFieldsOrder, const Items& fourCcs, const Items& applications) {
  SettingsRecord record = {};
  record.tag = kCodecFourCc;
  record.changeFieldsOrder = changeFieldsOrder;
  for (std::size_t i = 0; i < fourCcs.size(); ++i)
    record.fourCcs[i] = MakeFourCc(fourCcs[i][0], fourCcs[i][1], fourCcs[i][2], fourCcs[i][3]);
  for (std::size_t i = 0; i < applications.size(); ++i) std::strcpy(record.applications[i], applications[i].c_str());
  return record;
}

// The record's lists and flag as text, so that a difference shows where it is.
std::string Describe(const SettingsRecord& record) {
  std::string text = "order " + std::to_string(record.changeFieldsOrder) + ";";
  for (uint32_t fourCc : record.fourCcs) {
    if (fourCc != 0) text += " " + std::string(reinterpret_cast<const char*>(&fourCc), 4);
  }
  for (const char* name : record.applications) text += name[0] != '\0' ? std::string(" ") + name : "";
  return text;
}

void ExpectSameRecord(const SettingsRecord& actual, const SettingsRecord& expected) {
  EXPECT_EQ(Describe(actual), Describe(expected));
  EXPECT_EQ(std::memcmp(&actual, &expected, sizeof actual), 0) << "the records differ beyond their lists";
}

// A value of the defective-application key, as text or number; "(missing)" if absent.
std::string DefectiveValue(const char* name) {
  RegistryKey key;
  char text[600] = "";
  uint32_t number = 0;
  if (!key.Open(HKEY_CLASSES_ROOT, kDefectiveKey, KEY_READ)) return "(no key)";
  if (key.ReadString(name, text, sizeof text)) return text;
  return key.ReadDword(name, &number) ? std::to_string(number) : "(missing)";
}

// The build text of the About dialog: "<version> (<commit>, <date>)" from the version resource.
const std::regex kBuildLine(R"(Build: \d+\.\d+\.\d+ \(.+, \d{4}-\d{2}-\d{2}\)$)");

class Dialogs : public testing::Test {
 protected:
  void SetUp() override { DeleteCodecRegistryKeys(); }
  void TearDown() override {
    DestroyWindow(host_);
    // The outside check of the saved settings reads what the driver dialog left behind.
    if (std::getenv("TRVX_KEEP_SAVED_SETTINGS") == nullptr) DeleteCodecRegistryKeys();
  }
  // The host's main window, which the dialogs take as their parent.
  const HWND host_ = CreateWindowA("STATIC", "host", WS_OVERLAPPEDWINDOW, 0, 0, 200, 100, nullptr, nullptr,
                                   GetModuleHandleA(nullptr), nullptr);
  const LPARAM parent_ = reinterpret_cast<LPARAM>(host_);
};

// Sorted as the list boxes sort: none of these differ by case or by anything but letters and blanks.
Items Sorted(Items items) {
  std::sort(items.begin(), items.end());
  return items;
}

TEST_F(Dialogs, ConfigureEditsTheInstanceCopyOnOkOnly) {
  ASSERT_TRUE(InstallCodec());
  const HIC codec = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_COMPRESS);
  ASSERT_NE(codec, nullptr);
  const Items fourCcs = {"TRVX", "MJPG", "AVRN", "CJPG", "DMBA", "IJPG", "jpeg", "JPGL",
                         "LJPG", "MJPA", "MJPB", "QIVG", "SLMJ", "ZJPG", "AMJP"};
  SettingsRecord given = Record(0, fourCcs, {"PREMIERE.EXE", "Talvine.exe"});
  ASSERT_EQ(ICSetState(codec, &given, sizeof given), static_cast<LRESULT>(sizeof given));

  Items shown = fourCcs;
  shown[6] = "JPEG";
  shown = Sorted(shown);
  const LRESULT result = WhileUserActs(
      [&](const User& user) {
        const HWND dialog = user.WaitFor(kSettingsCaption);
        ASSERT_NE(dialog, nullptr) << "the settings dialog takes its caption from the string table";
        EXPECT_EQ(User::ListItems(dialog, kFourCcList), shown);
        EXPECT_EQ(User::Selected(dialog, kFourCcList), 0);
        EXPECT_EQ(User::ListItems(dialog, kAppList), (Items{"premiere.exe", "talvine.exe"}));
        EXPECT_EQ(User::Selected(dialog, kAppList), 0);
        EXPECT_EQ(IsDlgButtonChecked(dialog, kChangeFieldsOrder), BST_UNCHECKED);

        // A short FourCC is padded with blanks and upper-cased, then selected.
        User::Type(dialog, kFourCcEdit, "mjp");
        User::Click(dialog, kFourCcAdd);
        Items items = User::ListItems(dialog, kFourCcList);
        ASSERT_EQ(items.size(), 16u);
        const auto added = std::find(items.begin(), items.end(), "MJP ");
        ASSERT_NE(added, items.end());
        EXPECT_EQ(User::Selected(dialog, kFourCcList), added - items.begin());
        EXPECT_EQ(User::Text(dialog, kFourCcEdit), "");

        // The seventeenth is refused with a message box.
        User::Type(dialog, kFourCcEdit, "zzzz");
        User::ClickOpening(dialog, kFourCcAdd);
        user.AnswerMessageBox(dialog, "Non critical error", "Max count of FCC abbreviation is 16", IDI_EXCLAMATION);
        EXPECT_EQ(User::ListItems(dialog, kFourCcList), items);
        EXPECT_EQ(User::Text(dialog, kFourCcEdit), "");

        // Removing the last item selects the new last one.
        User::Select(dialog, kFourCcList, 15);
        User::Click(dialog, kFourCcRemove);
        EXPECT_EQ(User::ListItems(dialog, kFourCcList).size(), 15u);
        EXPECT_EQ(User::Selected(dialog, kFourCcList), 14);

        // An application loses its directory and its capitals; a second spelling of it is not added.
        User::Type(dialog, kAppEdit, "C:\\Tools\\Edit.EXE");
        User::Click(dialog, kAppAdd);
        EXPECT_EQ(User::ListItems(dialog, kAppList), (Items{"edit.exe", "premiere.exe", "talvine.exe"}));
        EXPECT_EQ(User::Selected(dialog, kAppList), 0);
        EXPECT_EQ(User::Text(dialog, kAppEdit), "");
        User::Type(dialog, kAppEdit, "d:/other/EDIT.exe");
        User::Click(dialog, kAppAdd);
        EXPECT_EQ(User::ListItems(dialog, kAppList).size(), 3u);

        User::Click(dialog, kChangeFieldsOrder);
        User::Screenshot(dialog, "settings_dialog");
        User::Click(dialog, IDOK);
      },
      [&] { return ICConfigure(codec, host_); });
  EXPECT_EQ(result, 1);

  Items saved = Sorted({"TRVX", "MJPG", "AVRN", "CJPG", "DMBA", "IJPG", "JPEG", "JPGL", "LJPG", "MJPA", "MJPB", "QIVG",
                        "SLMJ", "AMJP", "MJP "});
  SettingsRecord state = {};
  ASSERT_EQ(ICGetState(codec, &state, sizeof state), ICERR_OK);
  ExpectSameRecord(state, Record(1, saved, {"edit.exe", "premiere.exe", "talvine.exe"}));

  // Cancel keeps the record, except that names are lower-cased as soon as the dialog opens.
  // Browse only fills the edit, and a seventeenth application is refused.
  Items names = {"PREMIERE.EXE"};
  for (int i = 1; i < 16; ++i) names.push_back("player" + std::to_string(10 + i) + ".exe");
  given = Record(1, {"MJPG"}, names);
  names[0] = "premiere.exe";
  ASSERT_EQ(ICSetState(codec, &given, sizeof given), static_cast<LRESULT>(sizeof given));
  const LRESULT cancelled = WhileUserActs(
      [&](const User& user) {
        const HWND dialog = user.WaitFor(kSettingsCaption);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(IsDlgButtonChecked(dialog, kChangeFieldsOrder), BST_CHECKED);
        User::Type(dialog, kFourCcEdit, "abcd");
        User::Click(dialog, kFourCcAdd);
        User::ClickOpening(dialog, kAppBrowse);
        user.ChooseFile(dialog, "Choose Application", "C:\\windows\\NOTEPAD.EXE");
        EXPECT_EQ(User::Text(dialog, kAppEdit), "notepad.exe");
        EXPECT_EQ(User::ListItems(dialog, kAppList), Sorted(names));
        User::ClickOpening(dialog, kAppAdd);
        user.AnswerMessageBox(dialog, "Non critical error", "Max count of bad application is 16", IDI_EXCLAMATION);
        EXPECT_EQ(User::Text(dialog, kAppEdit), "");
        User::Click(dialog, kChangeFieldsOrder);
        User::Click(dialog, IDCANCEL);
      },
      [&] { return ICConfigure(codec, host_); });
  EXPECT_EQ(cancelled, 0);
  ASSERT_EQ(ICGetState(codec, &state, sizeof state), ICERR_OK);
  ExpectSameRecord(state, Record(1, {"MJPG"}, names));
  ICClose(codec);
}

TEST_F(Dialogs, AboutShowsTheCodecTextAndTheBuild) {
  CodecLibrary library;
  const DWORD_PTR codec = library.Open();
  ASSERT_NE(codec, 0u);
  const std::string codecText = CodecString(3) + "\n\n";
  ASSERT_GT(codecText.size(), 100u);
  for (const int button : {IDOK, IDCANCEL}) {
    std::string shown;
    const LRESULT result = WhileUserActs(
        [&](const User& user) {
          const HWND about = user.WaitFor(kAboutCaption);
          ASSERT_NE(about, nullptr);
          shown = User::Text(about, kAboutText);
          if (button == IDOK) User::Screenshot(about, "about_dialog");
          User::Click(about, button);
        },
        [&] { return library.Send(codec, ICM_ABOUT, parent_); });
    EXPECT_EQ(result, button == IDOK ? 1 : 0);
    EXPECT_EQ(shown.substr(0, codecText.size()), codecText);
    EXPECT_TRUE(std::regex_match(shown.substr(std::min(codecText.size(), shown.size())), kBuildLine)) << shown;
  }
  library.Send(codec, DRV_CLOSE);
}

TEST_F(Dialogs, DriverDialogEditsTheProcessSettingsAndEscapeSavesThem) {
  CodecLibrary library;
  const DWORD_PTR earlier = library.Open();
  ASSERT_NE(earlier, 0u);
  const std::string familyText = CodecString(4) + "\n\n";

  const LRESULT result = WhileUserActs(
      [&](const User& user) {
        const HWND driver = user.WaitFor(kDriverCaption);
        ASSERT_NE(driver, nullptr);
        User::Screenshot(driver, "driver_dialog");

        HWND settings = user.Open(driver, kDriverSettings, kSettingsCaption);
        ASSERT_NE(settings, nullptr);
        EXPECT_EQ(User::ListItems(settings, kFourCcList), (Items{"MJPG", "TRVX"}));
        EXPECT_EQ(User::ListItems(settings, kAppList), (Items{"premiere.exe", "talvine.exe"}));
        User::Type(settings, kFourCcEdit, "dvsd");
        User::Click(settings, kFourCcAdd);
        User::Type(settings, kAppEdit, "C:edit.exe");
        User::Click(settings, kAppAdd);
        User::Click(settings, kChangeFieldsOrder);
        User::Click(settings, IDOK);
        ASSERT_TRUE(User::WaitGone(settings, driver));

        // The process's record took the change: the next settings dialog starts from it,
        // and its About is the codec's.
        settings = user.Open(driver, kDriverSettings, kSettingsCaption);
        ASSERT_NE(settings, nullptr);
        EXPECT_EQ(User::ListItems(settings, kFourCcList), (Items{"DVSD", "MJPG", "TRVX"}));
        EXPECT_EQ(IsDlgButtonChecked(settings, kChangeFieldsOrder), BST_CHECKED);
        HWND about = user.Open(settings, kSettingsAbout, kAboutCaption);
        ASSERT_NE(about, nullptr);
        EXPECT_EQ(User::Text(about, kAboutText).substr(0, 40), CodecString(3).substr(0, 40));
        User::Click(about, IDOK);
        ASSERT_TRUE(User::WaitGone(about, settings));
        User::Click(settings, IDCANCEL);
        ASSERT_TRUE(User::WaitGone(settings, driver));

        // The family's About text, not the codec's.
        about = user.Open(driver, kDriverAbout, kAboutCaption);
        ASSERT_NE(about, nullptr);
        const std::string shown = User::Text(about, kAboutText);
        EXPECT_EQ(shown.substr(0, familyText.size()), familyText);
        EXPECT_TRUE(std::regex_search(shown, kBuildLine)) << shown;
        User::Click(about, IDOK);
        ASSERT_TRUE(User::WaitGone(about, driver));

        user.PressEscape(driver);
      },
      [&] { return library.Send(kNoInstance, DRV_CONFIGURE, parent_); });
  EXPECT_EQ(result, 0);

  // What Escape saved is read from outside, with reg.exe, by dialogs_test.sh.
  // An instance opened before keeps the settings it started with.
  SettingsRecord state = {};
  library.Send(earlier, ICM_GETSTATE, reinterpret_cast<LPARAM>(&state), sizeof state);
  EXPECT_EQ(Describe(state), "order 0; TRVX MJPG PREMIERE.EXE TALVINE.EXE");
  library.Send(earlier, DRV_CLOSE);
}

// Opens the defective-application dialog from the settings dialog of a new instance,
// lets the user act in it, and cancels the settings dialog afterwards.
void InDefectiveAppsDialog(LPARAM parent, const std::function<void(const User&, HWND)>& acts) {
  CodecLibrary library;
  const DWORD_PTR codec = library.Open();
  ASSERT_NE(codec, 0u);
  WhileUserActs(
      [&](const User& user) {
        const HWND settings = user.WaitFor(kSettingsCaption);
        ASSERT_NE(settings, nullptr);
        const HWND dialog = user.Open(settings, kAdvanced, kDefectiveCaption);
        ASSERT_NE(dialog, nullptr);
        acts(user, dialog);
        EXPECT_TRUE(User::WaitGone(dialog, settings));
        User::Click(settings, IDCANCEL);
      },
      [&] { return library.Send(codec, ICM_CONFIGURE, parent); });
  library.Send(codec, DRV_CLOSE);
}

TEST_F(Dialogs, DefectiveApplicationsAreWrittenOnOkOnlyAndStopAtSixteen) {
  InDefectiveAppsDialog(parent_, [](const User& user, HWND dialog) {
    EXPECT_EQ(User::ListItems(dialog, kDefectiveList), (Items{"WMPLAYER.EXE"}));
    User::ClickOpening(dialog, kDefectiveAdd);
    user.ChooseFile(dialog, "Choose application", "C:\\windows\\notepad.exe");
    EXPECT_EQ(User::ListItems(dialog, kDefectiveList), (Items{"NOTEPAD.EXE", "WMPLAYER.EXE"}));
    User::Screenshot(dialog, "defective_apps_dialog");
    User::ClickOpening(dialog, kDefectiveAdd);
    user.ChooseFile(dialog, "Choose application", "c:\\windows\\NotePad.exe");
    user.AnswerMessageBox(dialog, "Multiple selection", "This file already selected", IDI_ERROR);
    // Deleting the last item leaves nothing selected.
    User::Select(dialog, kDefectiveList, 1);
    User::Click(dialog, kDefectiveDelete);
    EXPECT_EQ(User::ListItems(dialog, kDefectiveList), (Items{"NOTEPAD.EXE"}));
    EXPECT_EQ(User::Selected(dialog, kDefectiveList), LB_ERR);
    User::Click(dialog, IDOK);
  });
  EXPECT_EQ(DefectiveValue("Application00"), "NOTEPAD.EXE");
  EXPECT_EQ(DefectiveValue("Application01"), "(missing)");
  EXPECT_EQ(DefectiveValue("Correct state"), "1");

  // Cancel writes nothing, not even the list it started with; sixteen is the most.
  RegistryKey key;
  ASSERT_TRUE(key.Open(HKEY_CLASSES_ROOT, kDefectiveKey, KEY_WRITE));
  for (int i = 1; i < 16; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "Application%02X", i);
    key.WriteString(name, ("PLAYER" + std::to_string(i) + ".EXE").c_str());
  }
  key.Close();
  InDefectiveAppsDialog(parent_, [](const User& user, HWND dialog) {
    EXPECT_EQ(User::ListItems(dialog, kDefectiveList).size(), 16u);
    User::ClickOpening(dialog, kDefectiveAdd);
    user.ChooseFile(dialog, "Choose application", "C:\\windows\\regedit.exe");
    user.AnswerMessageBox(dialog, "Maximum selection", "Maximum application number is reached", IDI_ERROR);
    User::Select(dialog, kDefectiveList, 0);
    User::Click(dialog, kDefectiveDelete);
    EXPECT_EQ(User::ListItems(dialog, kDefectiveList).size(), 15u);
    User::Click(dialog, IDCANCEL);
  });
  EXPECT_EQ(DefectiveValue("Application0F"), "PLAYER15.EXE") << "Cancel must not have the list written";
}

}  // namespace
}  // namespace trvx::test
