#include "tools/formats/CameraTags.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/base/MarkupText.h"
#include "tools/base/UserError.h"
#include "tools/formats/RadiometricJpeg.h"

namespace oravo::tools {
namespace {

using nlohmann::json;

constexpr char kGroup[] = "FLIR:all";  // as exiftool calls the tags of these segments
constexpr std::size_t kMostOfAnswer = std::size_t{1} << 20;
constexpr char kLeftOut[] = "the camera's own tags";

constexpr std::string_view kEnd = "</rdf:RDF>";
constexpr char kStartOfPacket[] =
    "<?xpacket begin='\xef\xbb\xbf' id='W5M0MpCehiHzreSzNTczkc9d'?>\n"
    "<x:xmpmeta xmlns:x='adobe:ns:meta/'>\n"
    "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>\n";
constexpr char kEndOfPacket[] = "</rdf:RDF>\n</x:xmpmeta>\n<?xpacket end='w'?>";

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/// Pictures and tables of colours stay behind, and so do statements about them.
bool describesPicture(std::string_view name) {
    constexpr std::string_view kStarts[] = {"SourceFile", "RawThermalImage", "EmbeddedImage", "Palette"};
    return std::any_of(std::begin(kStarts), std::end(kStarts),
                       [&](std::string_view start) { return startsWith(name, start); });
}

bool isPropertyName(std::string_view name) {
    const auto isLetter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
    const auto isInside = [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-';
    };
    return !name.empty() && isLetter(name.front()) && std::all_of(name.begin(), name.end(), isInside);
}

CameraTags tagsIn(const std::string& answer) {
    CameraTags tags;
    const json all = json::parse(answer, nullptr, false);
    if (!all.is_array() || all.empty() || !all[0].is_object()) throw inputError("no list of tags");
    for (const auto& [name, value] : all[0].items()) {
        if (describesPicture(name) || !isPropertyName(name) || value.is_structured() || value.is_null())
            continue;
        std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        if (!startsWith(text, "(Binary data")) tags.emplace_back(name, std::move(text));
    }
    return tags;
}

}  // namespace

std::optional<std::string> withCameraTags(const std::string& packet, const CameraTags& tags) {
    std::string properties = "<rdf:Description rdf:about='' xmlns:camera='urn:oravo-superres:camera/'>\n";
    for (const auto& [name, value] : tags)
        properties += "<camera:" + name + ">" + markupText(value) + "</camera:" + name + ">\n";
    properties += "</rdf:Description>\n";
    if (packet.empty()) return kStartOfPacket + properties + kEndOfPacket;
    const std::size_t end = packet.rfind(kEnd);
    if (end == std::string::npos) return {};
    return packet.substr(0, end) + properties + packet.substr(end);
}

void addCameraTags(ImageMetadata& metadata, const std::string& path, ExifTool& exiftool) {
    try {
        if (!isRadiometricJpeg(path)) return;
        const CameraTags tags =
            tagsIn(exiftool.tagsOf(path, {kGroup}, kMostOfAnswer, ExifTool::Bytes::counted));
        if (tags.empty()) return;
        const auto before = metadata.image.find(tag::kXmp);
        const std::string packet = before == metadata.image.end() ? "" : before->second.content;
        if (std::optional<std::string> after = withCameraTags(packet, tags)) {
            metadata.image[tag::kXmp] = {TagType::byte, std::move(*after)};
            return;
        }
    } catch (const UserError&) {
        // as below
    }
    metadata.leftOut.emplace_back(kLeftOut);
}

}  // namespace oravo::tools
