#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec3 vToLight;
layout(location = 2) in vec3 vToEye;
layout(set = 0, binding = 1) uniform Material {
    vec3 cool;
    vec3 warm;
    float exponent;
};
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    vec3 l = normalize(vToLight);
    vec3 v = normalize(vToEye);
    float cosine = dot(n, l);
    float highlight = pow(max(dot(reflect(-l, n), v), 0.0), exponent) * step(0.0, cosine);
    colour = vec4(mix(mix(cool, warm, 0.5 + 0.5 * cosine), vec3(1.0), highlight), 1.0);
}
