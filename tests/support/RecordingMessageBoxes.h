// Message boxes that record what they were asked to show and answer from a script:
// the tests' and the helper programs' one stand-in for the library's windows.
#pragma once

#include <CVLParamcor/Platform.h>

#include <deque>
#include <vector>

namespace paramcor::test {

struct RecordedMessage {
    QString text;
    int flags;
    QString title;
};

class RecordingMessageBoxes final : public MessageBoxes {
public:
    int show(const QString& text, int flags, const QString& title) override {
        messages.push_back({text, flags, title});
        if (answers.empty())
            return mb::Ok;
        const int answer = answers.front();
        answers.pop_front();
        return answer;
    }
    void beep() override { ++beeps; }

    std::vector<RecordedMessage> messages;
    std::deque<int> answers;  // given in order; OK when none is left
    int beeps = 0;
};

}  // namespace paramcor::test
