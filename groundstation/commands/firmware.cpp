// firmware: updates the camera, or plays a board that the camera updates.
#include <map>
#include <memory>

#include "groundstation/commands/firmware.h"
#include "groundstation/firmware/messages.h"

namespace groundstation {
namespace {

constexpr const char* kFirmwareSendHelp = R"(
The image goes to the camera in chunks of 240 bytes. The camera asks for what it lacks until it has
everything, checks the MD5, moves the image to where its boot loader looks and starts anew later.

It takes one transfer per start of its program, and none while its card holds images of other boards
(gimbalfw, flyctrolfw, repeatorfw). A sender that was interrupted goes on with --resume and the same
file.
)";

constexpr const char* kFirmwareServeHelp = R"(
The camera pushes the images that were on its card when it started: gimbalfw to the gimbal,
flyctrolfw to the flight controller, repeatorfw to the repeater, one after the other. This command
receives one of them, checks its MD5 and tells the camera the verdict.
)";

constexpr uint32_t kMostDropEvery = 1'000'000;

void add_drop_option(CLI::App& command, uint32_t* drop_every, const char* about) {
  takes_whole(command.add_option("--drop-every", *drop_every, about), 2, kMostDropEvery);
}

}  // namespace

void add_firmware_commands(CLI::App& app, Action* chosen) {
  CLI::App* firmware =
      app.add_subcommand("firmware", "Update the camera's firmware, or receive a board's.");
  firmware->require_subcommand(1);
  firmware->group(kFlightSideGroup);

  const auto [sender, send] =
      add_command<FirmwareSendRequest>(*firmware, "send", "Send an image to the camera.");
  sender->footer(kFirmwareSendHelp);
  sender->add_option("FILE", send->file, "The image, 1 byte to 512 MiB")->required();
  sender->add_flag("--resume", send->resume, "Go on with a transfer that runs");
  add_drop_option(*sender, &send->drop_every, "Lose every N-th chunk, to try a poor link");
  sender->add_flag("-q,--quiet", send->quiet, "No progress");
  run_with(sender, send, chosen, send_firmware);

  const auto [server, serve] =
      add_command<FirmwareServeRequest>(*firmware, "serve", "Play a board and receive its image.");
  server->footer(kFirmwareServeHelp);
  const std::map<std::string, uint8_t> boards{{"any", uint8_t{0}},
                                              {"gimbal", kBoardGimbal},
                                              {"flight-controller", kBoardFlightController},
                                              {"repeater", kBoardRepeater}};
  auto board = std::make_shared<std::string>("any");
  takes_word(server->add_option("BOARD", *board,
                                "Which board to play: any (the first one that is announced), "
                                "gimbal, flight-controller or repeater"),
             {"any", "gimbal", "flight-controller", "repeater"})
      ->capture_default_str();
  server->add_option("-o,--output", serve->output, "Where the image goes; nowhere if not given");
  server->add_flag("--force", serve->force, "Replace a file of that name");
  add_drop_option(*server, &serve->drop_every, "Lose every N-th chunk, to try a poor link");
  server->add_flag("-q,--quiet", serve->quiet, "No progress");
  server->callback([serve = serve, board, boards, chosen] {
    serve->board = boards.at(*board);
    *chosen = [request = *serve](Session& session) { return serve_firmware(session, request); };
  });
}

}  // namespace groundstation
