#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec3 vToLight;
layout(location = 2) in vec3 vToEye;
layout(set = 0, binding = 1) uniform Cloth {
    vec3 base;
    vec3 sheen;
    vec3 light;
    float exponent;
};
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    float diffuse = max((dot(n, normalize(vToLight)) + 0.3) / 1.3, 0.0);
    float rim = pow(1.0 - clamp(dot(n, normalize(vToEye)), 0.0, 1.0), exponent);
    colour = vec4(light * (base * diffuse + sheen * rim), 1.0);
}
