#include <gtest/gtest.h>

#include "app/FAbout.h"
#include "app/FProgressor.h"
#include "common/EngineFixture.h"
#include "testing/Describe.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

TEST(FAbout, OpensTheHomePageAndClosesByKeys) {
    EngineFixture fixture;
    for (const int key : {Key::Escape, Key::Enter}) {
        FAbout about;
        fixture.toolkit.Then([&] {
            EXPECT_EQ(Describe(about),
                      "form FAbout \"About Brackenfold\" (modal)\n  picture Image1 \"ABOUT\"\n"
                      "  label lblText \"Brackenfold Version 4.53\\r\\n \\r\\nCopyright \xC2\xA9 "
                      "Tarnwick Labs. All rights reserved.\"\n"
                      "  panel StaticLine1\n    native line \"Static\"\n"
                      "  button cmdOK \"&OK\" (default) (focus)\n"
                      "  link lblVisitTarnwick \"http://www.tarnwick.example/brackenfold/\"\n");
            about.FindControl(u"lblVisitTarnwick")->MouseUp(MouseButton::Right);
            about.FindControl(u"lblVisitTarnwick")->MouseUp(MouseButton::Left);
            about.FindControl(u"Image1")->DoubleClick();
            about.PressKey(Key::Tab);
            about.PressKey(Key::Enter);
            about.PressKey(Key::Space);
            about.PressKey(Key::Tab);
            about.PressKey(key);
        });
        about.ShowModal();
        EXPECT_FALSE(about.IsLoaded());
    }
    const std::vector<Text> launched(8, u"explorer http://www.tarnwick.example/brackenfold/");
    EXPECT_EQ(fixture.machine.Launched(), launched);
    FAbout about;
    about.Load();
    const Control& frame = *about.FindControl(u"StaticLine1");
    const Bounds filled{0, 0, frame.Width(), frame.Height()};
    EXPECT_EQ(about.FindControl(u"line")->Area(), filled);
    EXPECT_EQ(about.Outlines().size(), 1u);
}

TEST(FProgressor, WorksWhileItIsOnTheScreen) {
    EngineFixture fixture;
    FProgressor progressor;
    int started = 0;
    int pumped = 0;
    fixture.toolkit.onPump = [&] { ++pumped; };
    progressor.Started = [&] {
        ++started;
        EXPECT_EQ(pumped, started) << "it paints first";
        EXPECT_TRUE(progressor.Visible());
        EXPECT_EQ(fixture.toolkit.CurrentPointer(), Pointer::Hourglass);
        progressor.Finalize();
    };
    progressor.ShowProgress(u"Please wait... ", nullptr, true);
    EXPECT_EQ(started, 1);
    EXPECT_FALSE(progressor.Visible());
    EXPECT_EQ(fixture.toolkit.CurrentPointer(), Pointer::Default);
    progressor.Finalize();
}

TEST(FProgressor, AsWideAsItsText) {
    EngineFixture fixture;
    for (const std::size_t length : {0u, 5u, 300u}) {
        FProgressor progressor;
        progressor.ShowProgress(Text(length, u'x'), nullptr, false);
        EXPECT_EQ(progressor.WindowWidth(), progressor.FindControl(u"Label1")->Width() + 1200);
    }
}

TEST(FProgressor, StaysUntilFinalizeWhenItIsNotModal) {
    EngineFixture fixture;
    Form other(u"other");
    FProgressor progressor;
    int started = 0;
    progressor.Started = [&] {
        ++started;
        throw RuntimeError(ErrorNumber::DeviceIo);  // passed over
    };
    progressor.ShowProgress(u"x", nullptr, false);
    EXPECT_TRUE(progressor.Visible());
    other.Show();
    progressor.UserActivate();
    EXPECT_EQ(started, 2) << "each activation raises it";
    EXPECT_EQ(fixture.toolkit.CurrentPointer(), Pointer::Hourglass);
    progressor.Finalize();
    EXPECT_FALSE(progressor.Visible());
    EXPECT_EQ(fixture.toolkit.CurrentPointer(), Pointer::Default);
}

}  // namespace
}  // namespace bkfd
