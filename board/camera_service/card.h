// The SD card: a folder that holds KRVMEDIA/PIC, KRVMEDIA/VIDEO and KRVMEDIA/THUMB. Taking the card
// out, filling it and formatting it happen to the real folder, so that every program sees them.
// Loop thread only; free_kb of the folder is also asked by the recorder through free_bytes().
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace camera_service {

class Card {
 public:
  // A format erases everything in `root`, so it must be at least two folders below "/"; throws
  // std::invalid_argument otherwise.
  explicit Card(const std::string& root);

  // Looks for the card at start: `root` is one if it exists, or was left taken out. Creates what is
  // missing on it. False when a folder cannot be created; without a card there is nothing to do.
  [[nodiscard]] bool prepare();

  [[nodiscard]] bool present() const { return present_; }
  // False after unformat(), until format().
  [[nodiscard]] bool formatted() const { return formatted_; }
  [[nodiscard]] bool usable() const { return present_ && formatted_; }
  [[nodiscard]] std::string pictures() const { return root_ + "/KRVMEDIA/PIC"; }
  [[nodiscard]] std::string videos() const { return root_ + "/KRVMEDIA/VIDEO"; }

  // Of the file system that holds the card, in KB; 0 without a card.
  [[nodiscard]] int64_t total_kb() const;
  // The same, or what fill() pretends.
  [[nodiscard]] int64_t free_kb() const;

  // Erases everything and creates the folders again. False when something could not be removed.
  [[nodiscard]] bool format();
  void unformat() { formatted_ = false; }

  // Takes the card out: the folder is renamed to "<root>.removed"; where it is a mount point and
  // cannot be renamed, its entries move to "<root>/.removed". False when there is no card to take
  // out.
  [[nodiscard]] bool take_out();
  // Puts it back, with all that was on it; an empty one when there was none. False when there is a
  // card already.
  [[nodiscard]] bool put_in();

  // Fills the card with a file until about `kb` are free. A card with more than 2 GiB to fill is
  // only said to be full: free_kb() gives `kb` and nothing is written. False when filling failed.
  [[nodiscard]] bool fill(int64_t kb);
  void unfill();
  [[nodiscard]] bool pretends() const { return pretended_free_kb_.has_value(); }

 private:
  [[nodiscard]] bool make_folders() const;

  std::string root_;
  bool present_ = false;
  bool formatted_ = true;
  std::optional<int64_t> pretended_free_kb_;
};

// Free bytes of the file system that holds the path; 0 when there is no such path. Any thread.
[[nodiscard]] uint64_t free_bytes(const std::string& path);

}  // namespace camera_service
