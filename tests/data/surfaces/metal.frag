#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec3 vToLight;
layout(location = 2) in vec3 vToEye;
layout(set = 0, binding = 1) uniform Material {
    vec3 diffuse;     // base * (1 - metalness)
    vec3 f0;          // mix(0.04, base, metalness)
    vec3 light;
    float alpha2;     // roughness to the fourth
};
layout(location = 0) out vec4 colour;

const float kPi = 3.14159265;

float lambda(float cosine) {
    float c2 = max(cosine * cosine, 0.0001);
    return 0.5 * sqrt(1.0 + alpha2 * (1.0 - c2) / c2) - 0.5;
}

void main() {
    vec3 n = normalize(vNormal);
    vec3 l = normalize(vToLight);
    vec3 v = normalize(vToEye);
    vec3 h = normalize(l + v);
    float nl = max(dot(n, l), 0.0);
    float nv = max(dot(n, v), 0.0);
    float nh = max(dot(n, h), 0.0);
    float q = nh * nh * (alpha2 - 1.0) + 1.0;
    float d = alpha2 / (kPi * q * q);
    float g = 1.0 / (1.0 + lambda(nl) + lambda(nv));
    float m = 1.0 - clamp(dot(v, h), 0.0, 1.0);
    float m2 = m * m;
    vec3 f = f0 + (1.0 - f0) * (m * m2 * m2);
    vec3 specular = f * (d * g / max(4.0 * nv, 0.0001)) * step(0.0001, nl);
    vec3 lit = light * (diffuse * nl + kPi * specular);
    colour = vec4(pow(max(lit, 0.0), vec3(1.0 / 2.2)), 1.0);
}
