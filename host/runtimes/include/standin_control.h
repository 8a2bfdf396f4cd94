/* Control interface of the stand-in vendor runtimes (libtflite_mtk.so, libtflite_mtk_static.so,
 * libtflite_mtk_static_R.so, libneuron_runtime.6.so). Each library exports these functions
 * beside its vendor functions and keeps its own state; a test reaches them with dlsym on the
 * handle of the library it means.
 *
 * Two ways of running a model, chosen when an interpreter or runtime instance is created, by the
 * system property "vendor.standin.runtime.mode":
 *   "script"           the tensors of the script below; the model bytes are read and recorded but
 *                      not interpreted, and every run writes the scripted output;
 *   unset or "engine"  the real CPU engine runs the TFLite model (what a workstation user wants).
 *
 * State of one library: what the backend passed (records), a call counter per vendor function,
 * a failure status per vendor function, the tensor script (byte size and element type of the one
 * input and the one output tensor) and the output script. Records and counters start empty, no
 * call fails, the tensors are a 467856-byte uint8 input and a 623808-byte int32 output (the
 * network geometry of the product), and the output is all zeros.
 */
#ifndef STANDIN_CONTROL_H
#define STANDIN_CONTROL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The property that selects script or engine mode, and its script value. */
#define STANDIN_MODE_PROPERTY "vendor.standin.runtime.mode"
#define STANDIN_MODE_SCRIPT "script"
/* The engine's worker threads for models created from now on; unset or 0: every core. */
#define STANDIN_THREADS_PROPERTY "vendor.standin.engine.threads"

/* Back to the initial state described above. Live objects stay alive and counted. */
void standin_reset(void);

/* From now on the vendor function `symbol` (e.g. "ANeuroPilotTFLite_invoke") returns `status`
 * without doing anything but count the call; status 0 lets it work again. Functions that return
 * nothing cannot fail. Returns 0, or -1 for a name this library does not implement. */
int standin_fail_call(const char* symbol, int32_t status);

/* Calls of `symbol` since the last reset, failed ones included; -1 for an unknown name. */
int standin_call_count(const char* symbol);

/* The tensor script for interpreters and runtime instances created from now on. `direction` is 0
 * for the input and 1 for the output; `type` is a TFLite tensor type code (0 none, 1 float32,
 * 2 uint8, 3 int32, others as given) and is what the TFLite stand-in reports. */
void standin_set_tensor(uint32_t direction, uint32_t byte_size, uint32_t type);

/* Every scripted run fills the output tensor with these bytes, repeated from the start of the
 * pattern until the tensor is full (cut short at its end); an empty pattern gives zeros. Takes
 * effect for live models too, and ends an echo. */
void standin_set_output_pattern(const void* bytes, size_t size);

/* Every scripted run makes output element i (its size given by the output type: 1 byte for uint8,
 * 4 for float32 and int32 and every other type) the input byte at i * step + offset, as a number
 * of the output's type; elements past the end of the input are 0. Lets a test predict the output
 * from the input. Takes effect for live models too, and ends a pattern. */
void standin_set_output_echo(uint32_t step, uint32_t offset);

/* Whole-number records and live object counts. Returns 1 and stores the value when `key` was
 * recorded since the last reset (live counts are always recorded), else 0. Keys:
 *   TFLite:  "acceleration_mode", "use_ion", "no_supported_operation_check", "preference",
 *            "allow_fp16", "model_size", "input_bytes", "output_bytes", "live_options",
 *            "live_interpreters", "runs"
 *   Neuron:  "device_kind", "mdla_core_option", "qos_preference", "qos_priority",
 *            "qos_boost_value", "qos_delayed_power_off_time", "model_size", "input_bytes",
 *            "output_bytes", "input_address", "input_attribute", "output_attribute",
 *            "live_runtimes", "runs"
 * Flags read 0 or 1; "model_size" is the byte count of the model loaded last (file or bytes);
 * "input_bytes"/"output_bytes" the counts of the last copy or binding; "input_address" the
 * address the last input binding pointed to; "runs" the completed runs. */
int standin_recorded_int(const char* key, int64_t* value);

/* Byte and text records: copies up to `capacity` bytes into `dst` (which may be null for a size
 * query) and returns the record's full size, or -1 when not recorded. Texts carry no terminator.
 * Keys:
 *   TFLite:  "accelerator_name", "cache_dir", "model_path", "model_bytes"
 *   Neuron:  "env_options", "qos_options" (the records as passed), "model_path", "model_bytes"
 * "model_bytes" holds the model as loaded last, from the file or from memory. */
int64_t standin_recorded_bytes(const char* key, void* dst, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif /* STANDIN_CONTROL_H */
