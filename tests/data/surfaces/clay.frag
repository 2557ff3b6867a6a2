#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec3 vToLight;
layout(location = 2) in vec3 vToEye;
layout(set = 0, binding = 1) uniform Material {
    vec3 lightTimesBase;
    float a;          // 1 - 0.5 s / (s + 0.33), s the square of sigma
    float b;          // 0.45 s / (s + 0.09)
};
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    vec3 l = normalize(vToLight);
    vec3 v = normalize(vToEye);
    float nl = max(dot(n, l), 0.0);
    float nv = max(dot(n, v), 0.0);
    float s = max(dot(l, v) - nl * nv, 0.0) / max(max(nl, nv), 0.0001);
    colour = vec4(lightTimesBase * (nl * (a + b * s)), 1.0);
}
