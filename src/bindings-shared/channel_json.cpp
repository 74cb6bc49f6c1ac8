#include "bindings-shared/channel_json.h"

#include <string>

namespace vortena::operations {
namespace {

std::string unit_json(const ChannelAxes& axes) {
  if (axes.have_one_unit()) {
    return text_json(axes.begin()->unit);
  }
  JsonObject units;
  for (const ChannelAxis& axis : axes) {
    units.text(axis.name, axis.unit);
  }
  return units.close();
}

}  // namespace

void add_description(const Channel& channel, JsonObject* json) {
  JsonArray names;
  for (const ChannelAxis& axis : channel.axes) {
    names.element(text_json(axis.name));
  }
  json->text("name", channel.name);
  json->member("unit", unit_json(channel.axes));
  json->member("axes", names.close());
}

}  // namespace vortena::operations
