// The operations of the statistics server, and a self-test of them.

#include <cstdio>
#include <cstring>

#include "stat_api.h"
#include "support/owned.h"

namespace {

template <typename Record>
tarrow::heap<Record> new_record() {
    return tarrow::heap<Record>(static_cast<Record *>(alloc_data(sizeof(Record))));
}

int signed_32(uint32_t value) {
    return static_cast<int>(value);
}

void test_totals() {
    const auto input = new_record<accu_get_input_t>();
    const auto output = new_record<accu_get_output_t>();
    if (!input || !output) {
        return;
    }
    std::strcpy(input->interface, "Accu Interface");
    input->accu_type = ST_CURRENT;
    input->start_date.tm_year = 113;
    input->start_date.tm_mon = 4;
    input->start_date.tm_mday = 1;
    input->end_date.tm_year = 113;
    input->end_date.tm_mon = 5;
    input->end_date.tm_mday = 1;
    if (stat_accu_get(input.get(), output.get()) > 0) {
        std::printf("got output\nrx:[%d] rx_g:[%d] tx:[%d] tx_g:[%d] \n",
                    signed_32(output->rx_bytes), signed_32(output->rx_gbytes),
                    signed_32(output->tx_bytes), signed_32(output->tx_gbytes));
    }
}

void test_reset() {
    const auto input = new_record<reset_input_t>();
    const auto output = new_record<reset_output_t>();
    if (!input || !output) {
        return;
    }
    std::strcpy(input->interface, "Reset Interface");
    if (stat_reset(input.get(), output.get()) > 0) {
        std::printf("got reset output ret:[%d]\n", output->ret);
    }
}

void test_speed() {
    const auto input = new_record<speed_get_input_t>();
    const auto output = new_record<speed_get_output_t>();
    if (!input || !output) {
        return;
    }
    std::strcpy(input->interface, "Speed Interface");
    if (stat_speed_get(input.get(), output.get()) > 0) {
        std::printf("speed output\nrx:[%d] tx:[%d]\n", signed_32(output->rx_speed),
                    signed_32(output->tx_speed));
    }
}

} // namespace

int stat_reset(const reset_input_t *input, reset_output_t *output) {
    return call_server_func(OP_RESET, input, output);
}

int stat_accu_get(const accu_get_input_t *input, accu_get_output_t *output) {
    return call_server_func(OP_ACCU_GET, input, output);
}

int stat_speed_get(const speed_get_input_t *input, speed_get_output_t *output) {
    return call_server_func(OP_SPEED_GET, input, output);
}

int stat_client_main() {
    test_totals();
    test_reset();
    test_speed();
    return 0;
}
