#include "AppleHealthExport/AppleHealthExportReader.h"

#include <expat.h>

#include <vector>

#include "AppleHealthExport/internal/ExportByteFilter.h"
#include "AppleHealthExport/internal/ExportDocument.h"
#include "AppleHealthExport/internal/ExportInput.h"
#include "AppleHealthExport/internal/SampleSaver.h"

namespace {

using apple_health_export::ExportDocument;

// What the expat callbacks reach.
struct ParseContext {
  XML_Parser parser;
  ExportDocument* document;
  std::string stopReason;  // why a callback stopped the parser
  std::size_t stopLine = 0;
  std::size_t stopColumn = 0;
  std::string stopElement;
};

void stop(ParseContext& context, std::string reason) {
  context.stopReason = std::move(reason);
  context.stopLine = XML_GetCurrentLineNumber(context.parser);
  context.stopColumn = XML_GetCurrentColumnNumber(context.parser) + 1;
  context.stopElement = context.document->currentElement();
  XML_StopParser(context.parser, XML_FALSE);
}

void onStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto& context = *static_cast<ParseContext*>(data);
  auto problem = context.document->startElement(name, attributes);
  if (!problem.empty()) stop(context, problem);
}

void onEnd(void* data, const XML_Char* name) {
  auto& context = *static_cast<ParseContext*>(data);
  auto problem = context.document->endElement(name);
  if (!problem.empty()) stop(context, problem);
}

// A second line of defence behind the byte filter, which removes the document type declaration:
// should one reach the parser, its entities are refused.
void onEntityDeclaration(void* data, const XML_Char* name, int, const XML_Char*, int,
                         const XML_Char*, const XML_Char*, const XML_Char*, const XML_Char*) {
  auto& context = *static_cast<ParseContext*>(data);
  stop(context, std::string("the document declares an entity (") + name +
                    "); exports never do, and entities are not expanded");
}

}  // namespace

AppleHealthExportSummary AppleHealthExportReader::read(
    const std::string& path, const std::shared_ptr<platform::SimulatedHealthDevice>& device) {
  return read(path, device, nullptr);
}

AppleHealthExportSummary AppleHealthExportReader::read(const std::string& path,
                                                       AppleHealthExportSink& sink) {
  return read(path, nullptr, &sink);
}

AppleHealthExportSummary AppleHealthExportReader::read(
    const std::string& path, const std::shared_ptr<platform::SimulatedHealthDevice>& device,
    AppleHealthExportSink* sink) {
  AppleHealthExportSummary summary;
  std::string openError;
  auto input = apple_health_export::ExportInput::open(path, openError);
  if (!input) {
    const auto colon = openError.find(": ");
    summary.error =
        AppleHealthExportError{openError.substr(0, colon), 0, 0, "", openError.substr(colon + 2)};
    return summary;
  }
  apple_health_export::SampleSaver saver(device, batchSize_, summary, sink);
  ExportDocument document(saver, summary);
  apple_health_export::ExportByteFilter filter(maxTokenBytes_);

  XML_Parser parser = XML_ParserCreate("UTF-8");
  ParseContext context{parser, &document, {}, 0, 0, {}};
  XML_SetUserData(parser, &context);
  XML_SetElementHandler(parser, onStart, onEnd);
  XML_SetEntityDeclHandler(parser, onEntityDeclaration);
  XML_SetParamEntityParsing(parser, XML_PARAM_ENTITY_PARSING_NEVER);

  auto fail = [&](std::size_t line, std::size_t column, std::string element, std::string message) {
    summary.error =
        AppleHealthExportError{input->name(), line, column, std::move(element), std::move(message)};
  };
  std::vector<char> chunk(kChunkBytes);
  std::string filtered;
  bool rootSeen = false;
  for (;;) {
    const long long got = input->read(chunk.data(), chunk.size());
    if (got < 0) {
      fail(XML_GetCurrentLineNumber(parser), 0, document.currentElement(),
           "read failed: " + input->error());
      break;
    }
    summary.bytesRead += static_cast<std::uint64_t>(got);
    filtered.clear();
    if (!filter.feed(std::string_view(chunk.data(), static_cast<std::size_t>(got)), filtered)) {
      // Hand the parser what came before the refused bytes, so its elements are saved.
      XML_Parse(parser, filtered.data(), static_cast<int>(filtered.size()), XML_FALSE);
      if (context.stopReason.empty()) {
        fail(filter.errorLine(), 0, document.currentElement(), filter.error());
      }
      break;
    }
    const bool last = got == 0;
    rootSeen = rootSeen || !document.currentElement().empty();
    if (XML_Parse(parser, filtered.data(), static_cast<int>(filtered.size()), last) ==
        XML_STATUS_ERROR) {
      break;
    }
    if (progress_) progress_(summary.bytesRead, input->totalBytes());
    if (last) break;
  }
  if (!summary.error) {
    if (!context.stopReason.empty()) {
      fail(context.stopLine, context.stopColumn, context.stopElement, context.stopReason);
    } else if (XML_GetErrorCode(parser) != XML_ERROR_NONE) {
      const XML_Error code = XML_GetErrorCode(parser);
      std::string message = XML_ErrorString(code);
      if (code == XML_ERROR_NO_ELEMENTS || code == XML_ERROR_UNCLOSED_TOKEN) {
        message += summary.bytesRead == 0 ? " (the file is empty)" : " (the file ends early)";
      }
      fail(XML_GetCurrentLineNumber(parser), XML_GetCurrentColumnNumber(parser) + 1,
           document.currentElement(), message);
    }
  }
  summary.linesRead = XML_GetCurrentLineNumber(parser);
  XML_ParserFree(parser);
  saver.flush();
  return summary;
}
