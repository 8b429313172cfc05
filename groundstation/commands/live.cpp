// live: receives the camera's live video, writes or shows it and tells how well it arrives.
#include "groundstation/commands/live_run.h"

namespace groundstation {

void add_live_command(CLI::App& app, Action* chosen) {
  const auto [command, request] = add_command<LiveRequest>(
      app, "live",
      "Receive the live video. Writes it as H.264 (Annex B), from the first key picture on.\n"
      "Shows rate, gaps (pictures missing, by frame number) and stalls (pauses over 0.5 s).\n"
      "Ctrl-C ends it in order; the stream is switched off at the end. A stream that stands still\n"
      "at the end has failed (status 3).");
  takes_seconds(
      command->add_option("--seconds", request->seconds,
                          "How long, from the first key picture on (until Ctrl-C if not given)"),
      false);
  CLI::Option* output =
      command->add_option("-o,--output", request->file,
                          "File to write; - is standard output (not given: only the figures)");
  command->add_flag("-f,--force", request->force, "Replace a file that is here")->needs(output);
  command->add_flag("--play", request->play,
                    "Show the video in ffplay or mpv; closing its window ends the command");
  takes_number(command->add_option(
                   "--interval", request->interval_s,
                   "Seconds between figures: with --json an object each, else a line of a log"),
               0.1, 3600);
  add_port(command, "--port", &request->port, "UDP port that the camera sends live video to");
  command->add_flag("-q,--quiet", request->quiet, "No progress, only the summary");
  run_with(command, request, chosen, run_live);
}

}  // namespace groundstation
