// SPDX-License-Identifier: Apache-2.0
// sensor_kind.cpp -- the sources of the sensor kinds' properties.
#include "smclp/me/sensor_kind.h"

#include "platform/str.h"

#include <stdio.h>

namespace
{

// The property of the sensor that the argument names, into `work` (kSensorTextSize bytes).
u32 Read(const PropertyRequest &request, char *work)
{
    return get_sensor_data(request.sensor->type, request.sensor->format, request.number, work,
                           request.argument);
}

}  // namespace

u32 FromSystemName(const PropertyRequest &request)
{
    char work[kSensorTextSize] = "";
    const u32 result = get_system_name(work);
    if (result == kMeOk)
        StrCopy(request.value, work, request.length);
    return result;
}

u32 FromNumber(const PropertyRequest &request)
{
    snprintf(request.value, request.length, "%s%u", request.argument, request.number);
    return kMeOk;
}

u32 FromSensor(const PropertyRequest &request)
{
    char work[kSensorTextSize] = "";
    const u32 result = Read(request, work);
    if (result == kMeOk)
        StrCopy(request.value, work, request.length);
    return result;
}

u32 FromStates(const PropertyRequest &request)
{
    const std::span<const char *const> states = request.sensor->states;
    char work[kSensorTextSize] = "";
    get_possible_states_string(work, states.data(), static_cast<u32>(states.size()));
    StrCopy(request.value, work, request.length);
    return kMeOk;
}

u32 FromStateCode(const PropertyRequest &request)
{
    char work[kSensorTextSize] = "";
    const u32 result = Read(request, work);
    if (result != kMeOk)
        return result;
    const char *text = request.sensor->defaultState;
    const u32 code = StrToUINT32(work);
    for (const StateCode &state : request.sensor->codes) {
        if (state.code == code)
            text = state.text;
    }
    StrCopy(request.value, text, request.length);
    return kMeOk;
}

u32 FromStateCodes(const PropertyRequest &request)
{
    AppendListBegin(request.value, request.length);
    for (const StateCode &state : request.sensor->codes)
        AppendListText(request.value, request.length, state.text);
    AppendListEnd(request.value, request.length);
    return kMeOk;
}
