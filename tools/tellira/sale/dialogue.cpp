// The terminal leads: each continuation tells what it wants now, the script's answers are given in their order, and a
// question without an answer, or with another kind of answer, ends the sale with the payment open.
#include "sale/dialogue.h"

#include <charconv>

#include "sale/dialogue_words.h"
#include "text/text.h"

namespace tool {
namespace {

// The result by which the terminal asks for another continuation; any other one ends the dialogue.
constexpr const char* kGoesOn = "10000";
constexpr const char* kDataRoom = "20000";
constexpr std::size_t kAnswerFields = 6;  // result, command, field type, shortest, longest, data

int numberOf(const std::string& text) {
  int value = -1;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

/// What the terminal wants at one step.
struct Turn {
  std::string result;
  std::vector<std::string> sizes;  ///< the four numbers, to be given back as they are
  int command = 0;
  int fieldType = 0;
  std::string data;
};

Turn turnOf(const std::vector<std::string>& answer) {
  Turn turn{
      answer[0], {answer[1], answer[2], answer[3], answer[4]}, numberOf(answer[1]), numberOf(answer[2]), answer[5]};
  // A byte 0x01 inside the data looks like another field; it is put back.
  for (std::size_t i = kAnswerFields; i < answer.size(); ++i) turn.data.append(1, '\x01').append(answer[i]);
  return turn;
}

class Dialogue {
 public:
  Dialogue(const DialogueHost& host, const Statement& statement) : host_(host), statement_(statement) {}

  DialogueResult run(const std::vector<std::string>& opening) {
    DialogueResult dialogue;
    dialogue.result = host_.send("IniciaFuncaoSiTefInterativo", opening).front();
    // The first continuation gives back zeros, since nothing has been told yet.
    Turn turn{dialogue.result, {"0", "0", "0", "0"}, kData, 0, ""};
    std::string data;
    flag_ = "0";
    for (int steps = 0; turn.result == kGoesOn; ++steps) {
      if (steps == kMostDialogueSteps) {
        throw host_.fail(statement_.place, kEnded,
                         "the terminal did not come to an end in " + std::to_string(steps) + " steps; given up.");
      }
      // The numbers go back as they came, text by text: the terminal knows by them what it asked.
      turn = proceed(turn, data);
      data.clear();
      if (turn.result == kGoesOn) data = react(turn, dialogue);
    }
    dialogue.result = turn.result;
    tellUnused();
    return dialogue;
  }

 private:
  Turn proceed(const Turn& turn, const std::string& data) {
    const std::vector<std::string> answer =
        host_.send("ContinuaFuncaoSiTefInterativo",
                   {turn.sizes[0], turn.sizes[1], turn.sizes[2], turn.sizes[3], data, kDataRoom, flag_});
    flag_ = "0";
    if (answer.size() >= kAnswerFields) return turnOf(answer);
    throw host_.fail(statement_.place, kEnded, "the continuation of the dialogue answered too few fields.");
  }

  /// Shows, keeps or answers what the terminal said; the data for the next continuation.
  std::string react(const Turn& turn, DialogueResult& dialogue) {
    if (turn.command == kData) {
      dialogue.kept[dialogueKey(turn.fieldType)] = turn.data;
    } else if (turn.command >= kMessageOperator && turn.command <= kMessageBoth) {
      static constexpr const char* kWho[] = {"operator", "customer", "both"};
      host_.show(Remark::Kind::kMessage, std::string(kWho[turn.command - 1]) + ": " + turn.data);
    } else if (turn.command == kAskKey) {
      host_.show(Remark::Kind::kMessage, "key: " + turn.data);
    } else if (!promptInWords(turn.command, turn.fieldType).empty()) {
      return answerTo(turn);
    }
    return {};  // clearing a message and whatever else needs no answer
  }

  std::string answerTo(const Turn& turn) {
    host_.show(Remark::Kind::kPrompt, turn.data);
    const std::string asked = promptInWords(turn.command, turn.fieldType) + " (\"" + turn.data + "\")";
    const std::string advice = " Add `answer " + keywordFor(turn.command, turn.fieldType) + " ...` or `cancel`.";
    // Nobody is asked at the keyboard: a script says everything or ends.
    if (next_ == statement_.replies.size()) {
      throw host_.fail(statement_.place, kNo,
                       "the terminal asks for " + asked + ", and no answer line is left." + advice);
    }
    const Reply& reply = statement_.replies[next_++];
    if (reply.keyword == "cancel" || reply.keyword == "back") {
      flag_ = reply.keyword == "cancel" ? "-1" : "1";
      host_.show(Remark::Kind::kReply, reply.keyword);
      return {};
    }
    if (!answersPrompt(reply.keyword, turn.command, turn.fieldType)) {
      throw host_.fail(
          reply.value.place, kNo,
          "the terminal asks for " + asked + ", but this line answers \"" + reply.keyword + "\"." + advice);
    }
    const std::string value = valueOf(reply, turn);
    host_.show(Remark::Kind::kReply, value);
    return value;
  }

  std::string valueOf(const Reply& reply, const Turn& turn) const {
    // The terminal's numbers for the two keys.
    if (reply.keyword == "yes") return "0";
    if (reply.keyword == "no") return "1";
    const std::string value = host_.expand(reply.value);
    return turn.command == kAskMenu ? menuNumber(value, turn.data) : value;
  }

  /// A menu reads "1:First;2:Second;"; a choice may be given by its words. Anything else goes as it stands.
  static std::string menuNumber(const std::string& choice, const std::string& menu) {
    for (const std::string& item : split(menu, ';')) {
      const std::size_t colon = item.find(':');
      if (colon == std::string::npos) continue;
      if (upperCase(trimmed(std::string_view(item).substr(colon + 1))) == upperCase(trimmed(choice))) {
        return std::string(trimmed(std::string_view(item).substr(0, colon)));
      }
    }
    return choice;
  }

  void tellUnused() const {
    for (std::size_t i = next_; i < statement_.replies.size(); ++i) {
      host_.show(Remark::Kind::kWords, "line " + std::to_string(statement_.replies[i].value.place.line) +
                                           " was not used: the dialogue ended before it.");
    }
  }

  const DialogueHost& host_;
  const Statement& statement_;
  // Of the script's answers.
  std::size_t next_ = 0;
  // What the next continuation tells: 0 goes on, 1 goes a step back, -1 cancels.
  std::string flag_ = "0";
};

}  // namespace

DialogueResult runDialogueWith(const DialogueHost& host, const Statement& statement,
                               const std::vector<std::string>& opening) {
  return Dialogue(host, statement).run(opening);
}

}  // namespace tool
