#include "postprocess/scratch_files.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/sim_files.h"

namespace quorvane::postprocess {
namespace {

using simulation::FaultPlan;
using simulation::SimFiles;
using testing::ElementsAre;

class ScratchFiles : public testing::Test {
  protected:
    std::vector<std::string> left() const { return files.pathsWith("/"); }

    FaultPlan faults;
    SimFiles files{faults};
};

TEST_F(ScratchFiles, OnlyWhatAReplacementLeavesBehindIsRemoved) {
    for (const char* path :
         {"/x/Take 1.mov", "/x/Take 1.mov.bak", "/x/Take 1.mov.sb-a1b2", "/x/Take 1.mov.sb-",
          "/x/Take 1.mov.SB-1", "/x/take 1.mov.sb-1", "/x/ Take 1.mov.sb-1", "/x/Take 1.mov.sb",
          "/x/.Take 1-mixed-U.mp4.sb-9", "/x/Take 2.mov.sb-1", "/y/Take 1.mov.sb-1",
          "/x/z/Take 1.mov.sb-1"})
        files.files[path] = {};
    removeReplaceItemScratchFiles({"/x/Take 1.mov", "/x/.Take 1-mixed-U.mp4"}, files);
    EXPECT_THAT(left(),
                ElementsAre("/x/ Take 1.mov.sb-1", "/x/Take 1.mov", "/x/Take 1.mov.SB-1",
                            "/x/Take 1.mov.bak", "/x/Take 1.mov.sb", "/x/Take 2.mov.sb-1",
                            "/x/take 1.mov.sb-1", "/x/z/Take 1.mov.sb-1", "/y/Take 1.mov.sb-1"));
}

TEST_F(ScratchFiles, EachFolderIsListedOnce) {
    removeReplaceItemScratchFiles({"/x/a", "/y/b", "/x/c", "/x/a"}, files);
    std::sort(files.calls.begin(), files.calls.end());
    EXPECT_THAT(files.calls, ElementsAre("list /x", "list /y"));
}

TEST_F(ScratchFiles, FoldersThatCannotBeListedAreSkipped) {
    files.files["/x/a.sb-1"] = {};
    files.failing = "list";
    removeReplaceItemScratchFiles({"/x/a"}, files);
    EXPECT_THAT(left(), ElementsAre("/x/a.sb-1"));
}

TEST_F(ScratchFiles, WhatCannotBeRemovedStaysAndTheRestGoes) {
    files.files["/x/a.sb-1"] = {};
    files.files["/x/a.sb-2"] = {};
    // The listing is the first call that can fail, the first removal the second.
    FaultPlan second(2);
    SimFiles failing(second);
    failing.files = files.files;
    removeReplaceItemScratchFiles({"/x/a"}, failing);
    EXPECT_THAT(failing.pathsWith("/"), ElementsAre("/x/a.sb-1"));
}

}  // namespace
}  // namespace quorvane::postprocess
