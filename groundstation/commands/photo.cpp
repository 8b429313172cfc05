// photo: one picture, never two.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>

#include "base/clock.h"
#include "groundstation/commands/exchange.h"
#include "groundstation/commands/new_file.h"

namespace groundstation {
namespace {

constexpr double kPhotoTimeoutS = 20;
// The camera acknowledges once the picture is on the card, which takes a moment.
constexpr uint64_t kFirstDoubtUs = 3'000'000;

struct PhotoRequest {
  int mode = -1;  // -1: a plain photo
  int sequence = 1;
  NewFileRequest file;
};

struct PhotoAnswers {
  std::optional<uint8_t> result;  // of acknowledgement 2001
  bool reported = false;          // the camera's report that the photo is taken and named
  bool queried_card = false;
  bool card_answered = false;  // since the last query
};

Failure refuse_photo(Session& session, const PhotoRequest& request) {
  const CameraState& state = session.link.state();
  if (state.recording) {
    return session.out.fail("photo", ExitCode::kNotNow,
                            "the camera is recording; stop the recording first (record stop)");
  }
  if (state.status->timelapse == 1 || state.status->timelapse == 2) {
    return session.out.fail("photo", ExitCode::kNotNow, "a time-lapse is under way");
  }
  if (request.mode >= 0 && state.status->photo_format == kPhotoFormatRaw) {
    return session.out.fail("photo", ExitCode::kNotNow,
                            "the camera refuses a named photo while its photo format is RAW");
  }
  return std::nullopt;
}

CameraLink::Match answers_match(PhotoAnswers* answers) {
  return [answers](const CameraEvent& event) {
    if (const auto* ack = std::get_if<CommandAck>(&event); ack && ack->command == kAckPhoto) {
      answers->result = ack->result;
      return true;
    }
    if (const auto* report = std::get_if<CameraReport>(&event);
        report && report->code == kReportPhotoTaken) {
      answers->reported = true;
      return true;
    }
    // Code 0 with sizes answers a query; other codes also come by themselves.
    if (const auto* card = std::get_if<SdReport>(&event);
        card && card->code == 0 && answers->queried_card) {
      answers->card_answered = true;
      return true;
    }
    return false;
  };
}

// Sends the photo command and waits for its acknowledgement or report. A second send must never
// take a second photo, so it needs two proofs that the first was lost. The camera answers a card
// query only while no photo is under way, and it acknowledges a photo before that; so the answer to
// a query with no acknowledgement before it means that the photo was not taken, provided that no
// frame of the camera's stream was missed meanwhile.
Wait command_photo(Session& session, const PeerMessage& message, PhotoAnswers* answers,
                   uint64_t deadline_us) {
  CameraLink& link = session.link;
  const auto match = answers_match(answers);
  const uint32_t missed_before = link.state().missed_frames;
  link.send(message);
  int sends = 1;
  uint64_t next_check = base::monotonic_us() + kFirstDoubtUs;
  while (true) {
    const Wait wait = link.wait(std::min(deadline_us, next_check), match);
    if (answers->result.has_value() || answers->reported) return Wait::kMatched;
    if (wait == Wait::kInterrupted || base::monotonic_us() >= deadline_us) return wait;
    if (answers->card_answered && link.state().missed_frames == missed_before &&
        sends < kMostSends) {
      session.out.note("the photo command was lost; sending it again");
      link.send(message);
      sends++;
      answers->queried_card = false;
      next_check = base::monotonic_us() + kFirstDoubtUs;
    } else if (wait == Wait::kTimeout && sends < kMostSends) {
      link.send(sd_query_message());
      answers->queried_card = true;
      next_check = base::monotonic_us() + kResendUs;
    } else if (wait == Wait::kTimeout) {
      next_check = deadline_us;
    }
    answers->card_answered = false;
  }
}

ExitCode photo_unanswered(Session& session, Wait wait, uint32_t missed) {
  if (missed == 0) return no_answer(session, "photo", wait, "the photo was not acknowledged");
  return no_answer(session, "photo", wait,
                   fmt::format("the photo was not acknowledged, but {} frames of the camera were "
                               "lost on the way, so it may have been taken",
                               missed));
}

ExitCode take_photo(Session& session, const PhotoRequest& request) {
  uint64_t deadline = session.deadline(kPhotoTimeoutS);
  if (Failure failure = meet_camera(session, "photo", deadline)) return *failure;
  if (Failure failure = refuse_photo(session, request)) return *failure;
  if (Failure failure = enter_mode(session, "photo", kModePhoto, deadline)) return *failure;
  NewFile file(session, "photo", request.file, MediaKind::kPhoto);
  if (Failure failure = file.look_before()) return *failure;
  deadline = session.deadline(kPhotoTimeoutS);  // the list does not cost the photo its time
  session.link.drain();
  const uint32_t missed_before = session.link.state().missed_frames;
  const uint64_t start = base::monotonic_us();
  PhotoAnswers answers;
  const PeerMessage message = request.mode >= 0
                                  ? named_photo_message(request.mode, request.sequence)
                                  : action_message(CameraAction::kTakePhoto);
  Wait wait = command_photo(session, message, &answers, deadline);
  if (wait != Wait::kMatched) {
    return photo_unanswered(session, wait, session.link.state().missed_frames - missed_before);
  }
  if (answers.result.value_or(kResultDone) != kResultDone) {
    const CameraStatus& status = *session.link.state().status;
    return session.out.fail("photo", ExitCode::kRefused,
                            fmt::format("the camera could not take the photo (card: {}, {:.0f} MB "
                                        "free)",
                                        sd_code_text(status.sd_code), status.free_mb),
                            {{"result", *answers.result}});
  }
  if (!answers.reported) session.out.note("photo acknowledged; the camera tags and names it");
  while (wait == Wait::kMatched && !answers.reported) {
    wait = session.link.wait(deadline, answers_match(&answers));
  }
  if (!answers.reported) {
    return no_answer(session, "photo", wait,
                     "the photo was acknowledged, but the camera did not report it as tagged");
  }
  const double seconds = static_cast<double>(base::monotonic_us() - start) / 1e6;
  return file.done(fmt::format("photo taken in {:.1f} s", seconds), {{"seconds", seconds}});
}

}  // namespace

void add_photo_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<PhotoRequest>(
      app, "photo",
      "Take a photo, wait until it is tagged and tell its name.\n"
      "Switches to photo mode first if needed. A photo is never taken twice: the command is sent\n"
      "again only when it is certain that the first one did not arrive.");
  CLI::Option* mode = takes_choice_or_whole(
      command->add_option("--mode", request->mode,
                          "Name the photo by mode: PR, PW, PV, PH or a number (0 keeps the name)"),
      {{"PR", "1"}, {"PW", "2"}, {"PV", "3"}, {"PH", "4"}}, 0, 255);
  takes_whole(command->add_option("--sequence", request->sequence, "Sequence number in the name"),
              0, 9999)
      ->needs(mode)
      ->capture_default_str();
  add_new_file_options(command, &request->file);
  run_with(command, request, chosen, take_photo);
}

}  // namespace groundstation
