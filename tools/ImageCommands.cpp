#include "tools/ImageCommands.h"

#include <Magick++.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "image/image/Image.h"
#include "import/ImageImporter.h"
#include "import/MagickInit.h"
#include "tools/DdsFile.h"
#include "tools/ImageRecord.h"

namespace nox::tools {
namespace {

using Importer = CImageImporter;

CUUID Resolve(CNoxDbI& session, const std::string& file) {
  CUUID id;
  if (session.FindFile(file.c_str(), &id) != 0) Fail(session.GetLastErrorStr());
  return id;
}

const char* CompressErrorText(Importer::ECompressError error) {
  switch (error) {
    case Importer::CompressOk: return "done";
    case Importer::CompressAlreadyCompressed: return "the image is compressed already";
    case Importer::CompressUnitUnreadable: return "a unit of the file cannot be read";
    case Importer::CompressBadData: return "the image record is damaged";
    case Importer::CompressImageUnreadable: return "the stored pixels cannot be read";
    case Importer::CompressNoMemory: return "not enough memory";
    case Importer::CompressReopenFailed: return "the file cannot be opened for rewriting";
    case Importer::CompressMipmapWriteFailed: return "a mip level could not be written";
    case Importer::CompressPrepareFailed: return "the pixels cannot be brought into a compressible layout";
    case Importer::CompressEncodeFailed:
      return "the encoder refused the picture (this mode needs sides that are multiples of 4)";
  }
  return "unknown failure";
}

// A Magick picture of stored pixels (rows bottom first) turned upright; high dynamic range
// layouts pass through the importer's tone curve.
Magick::Image Upright(const ImageRecord& record) {
  const int w = record.size.cx;
  const int h = record.size.cy;
  const size_t pixels = static_cast<size_t>(w) * h;
  const auto fits = [&](size_t bytesPerPixel) {
    if (record.pixels.size() != pixels * bytesPerPixel) {
      Fail("the stored pixels do not match their size and layout");
    }
  };
  Magick::Image image;
  switch (record.format) {
    case CImporterBase::GL_RGB: fits(3); image.read(w, h, "RGB", Magick::CharPixel, record.pixels.data()); break;
    case CImporterBase::GL_RGBA: fits(4); image.read(w, h, "RGBA", Magick::CharPixel, record.pixels.data()); break;
    case CImporterBase::GL_LUMINANCE:
    case CImporterBase::GL_ALPHA: fits(1); image.read(w, h, "I", Magick::CharPixel, record.pixels.data()); break;
    case CImporterBase::GL_LUMINANCE_ALPHA: fits(2); image.read(w, h, "IA", Magick::CharPixel, record.pixels.data()); break;
    case CImporterBase::GL_RGBA16F:
    case CImporterBase::GL_RGB32F: {
      CNImg picture;
      picture.kind = CImporterBase::ImportableByHandler;
      if (record.format == CImporterBase::GL_RGBA16F) {
        fits(sizeof(nox::image::PixelRGBA16F));
        std::vector<nox::image::PixelRGBA16F> p(pixels);
        std::memcpy(p.data(), record.pixels.data(), record.pixels.size());
        picture.set(std::make_shared<nox::image::Image<nox::image::PixelRGBA16F>>(
            std::move(p), w, h, nox::image::FormatRGBA16F, 0));
      } else {
        fits(sizeof(nox::image::PixelRGB32F));
        std::vector<nox::image::PixelRGB32F> p(pixels);
        std::memcpy(p.data(), record.pixels.data(), record.pixels.size());
        picture.set(std::make_shared<nox::image::Image<nox::image::PixelRGB32F>>(
            std::move(p), w, h, nox::image::FormatRGB32F, 0));
      }
      if (!picture.CopyNoxImage2Magick(CImporterBase::GL_RGB, -1, -1)) Fail("cannot convert the pixels");
      image = picture.magickImage;
      break;
    }
    default:
      Fail(std::string("cannot export pixels of layout ") + LayoutName(record.format) + " (" +
           std::to_string(record.format) + ")");
  }
  image.flip();
  return image;
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) Fail("cannot write '" + path + "'");
}

void WritePng(Magick::Image image, const std::string& path) {
  image.magick("PNG");
  try {
    image.write(path);
  } catch (const Magick::Exception& e) {
    Fail("cannot write '" + path + "': " + e.what());
  }
}

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

void Export(CNoxDbI& session, const std::string& fileName, const std::string& unit,
            const std::string& out) {
  nox::import::EnsureMagickInitialized();
  CNDBFile file(&session);
  if (file.Open(Resolve(session, fileName), CNDBFile::kModeRead, -1, nullptr, 0) != 0) {
    Fail(session.GetLastErrorStr());
  }
  if (file.FindUnit(unit.c_str()) < 1) Fail("no unit '" + unit + "' in " + fileName);

  if (unit == CNDBFile::UNIT_ICON_SMALL || unit == CNDBFile::UNIT_ICON_DEFAULT ||
      unit == CNDBFile::UNIT_ICON_LARGE) {
    return ExportIcon(file, unit, out);
  }

  ImageRecord record;
  const bool isLevel = unit.rfind("MMLevel.", 0) == 0;
  if (!ReadImageRecord(file, CNDBFile::UNIT_DATA, &record)) Fail("the file holds no image record");
  if (isLevel || EndsWith(out, ".dds")) {
    if (record.compression != 1 && record.compression != 3) {
      Fail("the image holds no DXT1 or DXT5 levels");
    }
    std::vector<Level> levels = ReadLevels(file);
    if (levels.empty()) levels.push_back({record.size, record.blocks});
    if (isLevel) levels.erase(levels.begin(), levels.begin() + std::min<size_t>(levels.size(), std::stoul(unit.substr(8))));
    if (levels.empty() || levels[0].blocks.empty()) Fail("no compressed blocks in " + fileName);
    WriteBytes(out, DdsFile(levels, record.compression == 1));
    return;
  }
  if (unit != CNDBFile::UNIT_DATA && !ReadImageRecord(file, unit.c_str(), &record)) {
    Fail("unit '" + unit + "' holds no image record");
  }
  if (record.pixels.empty()) Fail("unit '" + unit + "' keeps no plain pixels; export the levels as .dds");
  WritePng(Upright(record), out);
}

}  // namespace

void ExportIcon(CNDBFile& file, const std::string& unit, const std::string& out) {
  nox::import::EnsureMagickInitialized();
  file.SelectUnit(unit.c_str(), 0, false);
  if (file.ReadNextTokenEx() != 3) Fail("unit '" + unit + "' holds no icon");
  CNPBM icon;
  file >> icon;
  if (!icon.IsValid() || file.GetLastError() != 0) Fail("the icon in '" + unit + "' is damaged");
  WritePng(Magick::Image(icon.Width(), icon.Height(), "RGB", Magick::CharPixel, icon.GetPixels()), out);
}

void AddImageCommands(CLI::App& app, Commands& commands, const Options& options) {
  auto* compress = app.add_subcommand("compress", "DXT-compress a stored image in place, with its mip chain");
  static std::string file;
  static int mode = 0;
  static bool mipmaps = false;
  compress->add_option("FILE", file, "name or identifier")->required();
  auto* modes = compress->add_option_group("mode")->require_option(1);
  modes->add_flag_function("--dxt1", [](int64_t) { mode = Importer::CompressionDXT1; }, "DXT1, no alpha");
  modes->add_flag_function("--dxt5", [](int64_t) { mode = Importer::CompressionDXT5; }, "DXT5, with alpha");
  modes->add_flag_function("--auto", [](int64_t) { mode = Importer::CompressionAuto; }, "DXT5 when the image has alpha, else DXT1");
  compress->add_flag("--mipmaps", mipmaps, "keep the mip chain (compress always writes it)");
  commands.Add(compress, noxdb::OpenMode::Existing, [&options](CNoxDbI& session) {
    const CUUID id = Resolve(session, file);
    CNDBFile stored(&session);
    if (stored.Open(id, CNDBFile::kModeRead, -1, nullptr, 0) != 0) Fail(session.GetLastErrorStr());
    Importer importer(session, 0, 0);
    Importer::ECompressError result;
    try {
      LibraryOutput quiet(options.verbose);
      result = importer.Compress(stored, mode);
    } catch (const std::exception& e) {
      // The rewrite is given up rather than committed half done as the file ends.
      stored.Close(nullptr, false);
      Fail(std::string("cannot compress ") + file + ": " + e.what());
    }
    // Only a whole rewrite is kept; anything less leaves the old file as it was.
    const int committed = stored.Close(nullptr, result == Importer::CompressOk);
    if (result != Importer::CompressOk) Fail(std::string("cannot compress ") + file + ": " + CompressErrorText(result));
    if (committed != 0) Fail(session.GetLastErrorStr());
    std::fprintf(stderr, "compressed %s\n", file.c_str());
    return kExitOk;
  });

  auto* exporter = app.add_subcommand("export", "write a unit as a file: icons and pixels as PNG, levels as .dds");
  static std::string exportFile, unit, out;
  exporter->add_option("FILE", exportFile, "name or identifier")->required();
  exporter->add_option("UNIT", unit, "IconSmall, IconLarge, Data, Original or MMLevel.NN")->required();
  exporter->add_option("OUT", out, "the file to write (.png, or .dds for compressed levels)")->required();
  commands.Add(exporter, noxdb::OpenMode::ReadOnly, [](CNoxDbI& session) {
    Export(session, exportFile, unit, out);
    return kExitOk;
  });
}

void PrintImageDetails(CNoxDbI& session, const CUUID& id) {
  CNDBFile file(&session);
  ImageRecord record;
  if (file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0) != 0 ||
      file.FindUnit(CNDBFile::UNIT_DATA) < 1 || !ReadImageRecord(file, CNDBFile::UNIT_DATA, &record) ||
      record.format == 0) {
    return;
  }
  std::printf("layout:     %s (%u), %dx%d%s\n", LayoutName(record.format), record.format,
              record.size.cx, record.size.cy, record.pixels.empty() ? ", no plain pixels" : "");
  std::printf("compressed: %s\n", CompressionName(record.compression).c_str());
  const std::vector<Level> levels = ReadLevels(file);
  for (size_t i = 0; i < levels.size(); ++i) {
    std::printf("  level %2zu  %5dx%-5d %10zu bytes\n", i, levels[i].size.cx, levels[i].size.cy,
                levels[i].blocks.size());
  }
}

}  // namespace nox::tools
