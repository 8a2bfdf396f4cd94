#include "BodySegmentFunc.h"

namespace bodysegment {

// The frame fields default to the main sensor's full-resolution capture (3280 x 2464, stride
// 3328); the network size and channel count are constants of the model.
Settings::Settings()
    : param0(0),
      scale(1.0f),
      param1(0),
      model_path("/data/local/tmp/model/qint8_model.tflite"),
      cache_dir("/data/local/tmp/body_segment_cache"),
      input_dir("/data/local/tmp/input"),
      output_dir("/data/local/tmp/output"),
      output_dir2("/data/local/tmp/output"),
      dump_name("out"),
      stride(3328),
      scan(2464),
      width(3280),
      height(2464),
      net_width(342),
      net_height(456),
      channels(3),
      orientation(0),
      image_type(5) {}

}  // namespace bodysegment
