// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>

#include "real_models/networks.h"

namespace real_models {
namespace {

constexpr char kAge[] = "fc/age", kGender[] = "fc/gender";

using cv::dnn::LayerParams;
using nlohmann::json;
using Weights = std::map<std::string, cv::Mat>;

// Returns the number of elements of a shape; 0 for one without sides, with more than four, or with
// more than `most` elements.
size_t CountOf(const std::vector<int>& shape, size_t most) {
  if (shape.empty() || shape.size() > 4) return 0;
  size_t count = 1;
  for (const int side : shape) {
    if (side < 1 || static_cast<size_t>(side) > most / count) return 0;
    count *= static_cast<size_t>(side);
  }
  return count;
}

// Takes one weight from the front of `bytes`: float32, or bytes with a scale and a minimum. A
// filter of height, width, inputs, outputs is reordered to outputs, inputs, height, width, as the
// inference library expects; a matrix is transposed. Returns false when too few bytes are left.
bool TakeWeight(const json& entry, std::string_view* bytes, cv::Mat* weight) {
  const std::vector<int> shape = entry.at("shape");
  const json scaling = entry.value("quantization", json::object());
  const size_t element = scaling.empty() ? sizeof(float) : 1;
  const size_t size = CountOf(shape, bytes->size() / element) * element;
  if (size == 0) return false;
  cv::Mat raw(shape, scaling.empty() ? CV_32F : CV_8U), flat;
  std::copy_n(bytes->data(), size, raw.ptr<char>());
  bytes->remove_prefix(size);
  raw.convertTo(flat, CV_32F, scaling.value("scale", 1.0), scaling.value("min", 0.0));
  *weight = shape.size() == 2 ? cv::Mat(flat.t()) : flat;
  if (shape.size() == 4) cv::transposeND(flat, {3, 2, 0, 1}, *weight);
  return true;
}

// Collects the settings of a layer, each a name and a value.
LayerParams With() { return {}; }

template <typename Value, typename... Rest>
LayerParams With(const char* name, Value value, Rest... rest) {
  LayerParams params = With(rest...);
  params.set(name, value);
  return params;
}

// Builds the network from the weights' names; x, a and b are layer numbers.
class Builder {
 public:
  Builder(const Weights& weights, cv::dnn::Net* net) : weights_(weights), net_(net) {}

  void Build() {
    int x = Relu(Convolution(0, "entry_flow/conv_in"));
    x = Reduce(x, x, "entry_flow/reduction_block_0");
    x = Reduce(Relu(x), x, "entry_flow/reduction_block_1");
    for (const std::string block : {"middle_flow/main_block_0", "middle_flow/main_block_1"}) {
      int inner = x;
      for (const char* part : {"/separable_conv0", "/separable_conv1", "/separable_conv2"}) {
        inner = Separable(Relu(inner), block + part);
      }
      x = Add(inner, x);
    }
    x = Reduce(Relu(x), x, "exit_flow/reduction_block");
    x = Relu(Separable(x, "exit_flow/separable_conv"));
    x = Layer("Pooling", {x}, With("pool", "ave", "global_pooling", true));
    Dense(x, kAge);
    Dense(x, kGender);
  }

 private:
  int Layer(const std::string& type, const std::vector<int>& inputs, LayerParams params = {},
            std::string name = "") {
    if (name.empty()) name = type + std::to_string(layers_++);
    const int id = net_->addLayer(name, type, params);
    for (size_t i = 0; i < inputs.size(); ++i) net_->connect(inputs[i], 0, id, static_cast<int>(i));
    return id;
  }

  int Relu(int x) { return Layer("ReLU", {x}); }
  int Add(int a, int b) { return Layer("Eltwise", {a, b}); }

  // Adds a convolution. The filters come first in `blobs`, then an optional bias. With as many
  // groups as inputs, each channel has its own filter.
  int Filter(int x, const std::vector<cv::Mat>& blobs, int stride, int groups) {
    LayerParams params = With("num_output", blobs[0].size[0], "kernel_size", blobs[0].size[2],
                              "stride", stride, "group", groups, "pad_mode", "SAME",  //
                              "bias_term", blobs.size() > 1);
    params.blobs = blobs;
    return Layer("Convolution", {x}, params);
  }

  // Adds a convolution that halves the picture.
  int Convolution(int x, const std::string& name) {
    return Filter(x, {weights_.at(name + "/filters"), weights_.at(name + "/bias")}, 2, 1);
  }

  // Adds one filter per channel, then one across the channels.
  int Separable(int x, const std::string& name) {
    const cv::Mat& deep = weights_.at(name + "/depthwise_filter");  // 1, channels, 3, 3
    const int channels = deep.size[1];
    x = Filter(x, {deep.reshape(1, {channels, 1, 3, 3})}, 1, channels);
    return Filter(x, {weights_.at(name + "/pointwise_filter"), weights_.at(name + "/bias")}, 1, 1);
  }

  // Halves the picture: two separable convolutions and a pooling, plus a convolution of `plain`.
  int Reduce(int activated, int plain, const std::string& name) {
    int x = Separable(activated, name + "/separable_conv0");
    x = Separable(Relu(x), name + "/separable_conv1");
    x = Layer("Pooling", {x},
              With("pool", "max", "kernel_size", 3, "stride", 2, "pad_mode", "SAME"));
    return Add(x, Convolution(plain, name + "/expansion_conv"));
  }

  void Dense(int x, const std::string& name) {
    LayerParams params = With("num_output", weights_.at(name + "/weights").rows);
    params.blobs = {weights_.at(name + "/weights"), weights_.at(name + "/bias")};
    Layer("InnerProduct", {x}, params, name);
  }

  const Weights& weights_;
  cv::dnn::Net* const net_;
  int layers_ = 0;
};

}  // namespace

std::string AgeGenderNet::Load(const std::string& manifest, const std::string& weights) {
  Weights by_name;
  std::string_view rest = weights;  // in the manifest's order
  for (const json& group : json::parse(manifest)) {
    for (const json& entry : group.at("weights")) {
      if (!TakeWeight(entry, &rest, &by_name[entry.at("name")])) return "the weights are cut short";
    }
  }
  if (!rest.empty()) return "the weights have more bytes than their manifest";
  Builder(by_name, &net_).Build();
  // A run reveals shapes that do not fit each other.
  Run(cv::Mat::zeros(kAgeGenderInput, kAgeGenderInput, CV_8UC3));
  return "";
}

AgeAndGender AgeGenderNet::Run(const cv::Mat& face) {
  const cv::Scalar mean(122.782, 117.001, 104.298);
  net_.setInput(cv::dnn::blobFromImage(face, 1 / 255.0, {}, mean, true));
  std::vector<cv::Mat> answers;
  net_.forward(answers, std::vector<cv::String>{kAge, kGender});
  CV_Assert(answers[0].total() == 1 && answers[1].total() == 2);
  const float* const gender = answers[1].ptr<float>();
  return {*answers[0].ptr<float>(), 1.0f / (1.0f + std::exp(gender[1] - gender[0]))};
}

}  // namespace real_models
