// The frei0r entry points of one filter. This file is built once per module,
// with TESSIVO_FREI0R_MODULE naming the module in lower case; everything else
// lives in the shared adapter library.
#include "filter_class.h"
#include "filter_instance.h"

// frei0r.h declares its entry points without C linkage of its own.
extern "C" {
#include <frei0r.h>
}

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace {

using tessivo::frei0r::FilterClass;
using tessivo::frei0r::FilterInstance;
using tessivo::frei0r::ParameterType;
using tessivo::frei0r::ParameterValue;

constexpr const char *kModuleName = TESSIVO_FREI0R_MODULE;
const std::string kFallbackName = std::string("tessivo_") + kModuleName;

const FilterClass *filterClass() { return FilterClass::find(kModuleName); }

// The text a string parameter hands out stays valid until the next call.
thread_local std::string stringResult;

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int f0r_init() { return filterClass() != nullptr ? 1 : 0; }

__attribute__((visibility("default"))) void f0r_deinit() {}

__attribute__((visibility("default"))) void f0r_get_plugin_info(f0r_plugin_info_t *info) {
  const FilterClass *filter = filterClass();
  info->name = filter != nullptr ? filter->filterName().c_str() : kFallbackName.c_str();
  info->author = "Tessivo";
  info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
  // Bytes B, G, R, A: on a little-endian machine, the bundle's 0xAARRGGBB word.
  info->color_model = F0R_COLOR_MODEL_BGRA8888;
  info->frei0r_version = FREI0R_MAJOR_VERSION;
  info->major_version = 0;
  info->minor_version = 1;
  info->num_params = filter != nullptr ? static_cast<int>(filter->parameters().size()) : 0;
  info->explanation = filter != nullptr ? filter->explanation().c_str() : "the Tessivo bundle could not be loaded";
}

__attribute__((visibility("default"))) void f0r_get_param_info(f0r_param_info_t *info, int index) {
  const FilterClass *filter = filterClass();
  if (filter == nullptr || index < 0 || static_cast<size_t>(index) >= filter->parameters().size()) return;
  const auto &parameter = filter->parameters()[static_cast<size_t>(index)];
  info->name = parameter.name.c_str();
  info->type = static_cast<int>(parameter.type);
  info->explanation = parameter.explanation.c_str();
}

__attribute__((visibility("default"))) f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  const FilterClass *filter = filterClass();
  if (filter == nullptr) return nullptr;
  try {
    return new FilterInstance(*filter, width, height);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "tessivo frei0r: %s: %s\n", filter->filterName().c_str(), error.what());
    return nullptr;
  }
}

__attribute__((visibility("default"))) void f0r_destruct(f0r_instance_t instance) {
  delete static_cast<FilterInstance *>(instance);
}

__attribute__((visibility("default"))) void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param,
                                                                int index) {
  const FilterClass *filter = filterClass();
  if (instance == nullptr || param == nullptr || filter == nullptr || index < 0 ||
      static_cast<size_t>(index) >= filter->parameters().size())
    return;
  ParameterValue value;
  switch (filter->parameters()[static_cast<size_t>(index)].type) {
    case ParameterType::Bool:
    case ParameterType::Double:
      value.number = *static_cast<const double *>(param);
      break;
    case ParameterType::Color: {
      const auto *color = static_cast<const f0r_param_color_t *>(param);
      value.red = color->r;
      value.green = color->g;
      value.blue = color->b;
      break;
    }
    case ParameterType::String: {
      const char *text = *static_cast<char *const *>(param);
      value.text = text != nullptr ? text : "";
      break;
    }
  }
  static_cast<FilterInstance *>(instance)->set(index, value);
}

__attribute__((visibility("default"))) void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param,
                                                                int index) {
  const FilterClass *filter = filterClass();
  if (instance == nullptr || param == nullptr || filter == nullptr || index < 0 ||
      static_cast<size_t>(index) >= filter->parameters().size())
    return;
  const ParameterValue value = static_cast<FilterInstance *>(instance)->get(index);
  switch (filter->parameters()[static_cast<size_t>(index)].type) {
    case ParameterType::Bool:
    case ParameterType::Double:
      *static_cast<double *>(param) = value.number;
      break;
    case ParameterType::Color:
      *static_cast<f0r_param_color_t *>(param) = f0r_param_color_t{value.red, value.green, value.blue};
      break;
    case ParameterType::String:
      stringResult = value.text;
      *static_cast<char **>(param) = stringResult.data();
      break;
  }
}

__attribute__((visibility("default"))) void f0r_update(f0r_instance_t instance, double time, const uint32_t *inframe,
                                                       uint32_t *outframe) {
  if (instance == nullptr || inframe == nullptr || outframe == nullptr) return;
  static_cast<FilterInstance *>(instance)->update(time, inframe, outframe);
}

}  // extern "C"
