#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec3 vToLight;
layout(location = 2) in vec3 vToEye;
layout(set = 0, binding = 1) uniform Material {
    vec3 base;
    float outline;
};
layout(set = 0, binding = 2) uniform sampler2D ramp;
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    float wrapped = 0.5 * dot(n, normalize(vToLight)) + 0.5;
    vec3 tone = texture(ramp, vec2(wrapped * wrapped, 0.5)).rgb;
    colour = vec4(base * tone * step(outline, dot(n, normalize(vToEye))), 1.0);
}
