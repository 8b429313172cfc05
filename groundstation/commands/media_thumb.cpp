// media thumb: the small picture of a photo or video.
#include <fmt/format.h>

#include "base/text.h"
#include "groundstation/commands/media_transfer.h"
#include "groundstation/media/file.h"

namespace groundstation {
namespace {

constexpr double kThumbPatienceS = 30;

ExitCode get_thumbnail(MediaSession& media, const MediaRequest& request) {
  const std::string& name = request.name;
  const Output& out = media.session.out;
  const MediaKind kind = known_media_kind(name);
  std::string own = name.substr(0, name.rfind('.'));
  own += kind == MediaKind::kVideo ? "_v.JPG" : "_p.JPG";
  if (request.output.empty() && !base::safe_name(own)) {
    return out.fail(media.command, ExitCode::kUsage,
                    fmt::format("{} is no file name here; give one with -o", own));
  }
  MediaSize size;
  // An unknown file would make the camera say nothing at all.
  MediaResult result = media_size(media, kind, name, &size);
  if (result == MediaResult::kDone) result = media.client.make_thumbnail(name, &size);
  if (result != MediaResult::kDone) {
    return media_failed(media, result, name,
                        fmt::format("the camera cannot make a thumbnail of {}", name));
  }
  TransferProgress progress(out, request.quiet);
  const MediaItem item{MediaKind::kThumbnail, name, media_output_path(request.output, own), 0,
                       request.force};
  return media_tell(media, media_transfer(media, item, size, &progress), name);
}

}  // namespace

void add_media_thumb_command(CLI::App& media, const std::shared_ptr<MediaRequest>& request,
                             Action* chosen) {
  CLI::App* thumb = media.add_subcommand(
      "thumb", "Download the thumbnail of a photo or video; the camera makes it if it has none.");
  thumb->add_option("NAME", request->name, "Photo or video on the card")->required();
  thumb->add_option("-o,--output", request->output, "File, or a folder that is there");
  thumb->add_flag("-f,--force", request->force, "Replace a file that is here");
  thumb->add_flag("-q,--quiet", request->quiet, "No progress");
  thumb->callback([request, chosen] {
    known_media_kind(request->name);
    *chosen =
        media_action("media thumb", request->port, kThumbPatienceS,
                     [request](MediaSession& session) { return get_thumbnail(session, *request); });
  });
}

}  // namespace groundstation
